# shellcheck shell=bash
# Drags with xdotool, the pointer held down, the way X drag and drop sources need to see it: pauses
# between press, the first moves and release, and many small steps in between.

# Presses at X Y and moves far enough for the source to start its drag.
drag_start() {
  xdotool mousemove "$1" "$2"
  sleep 0.3
  xdotool mousedown 1
  sleep 0.3
  xdotool mousemove $(($1 + 5)) "$2"
  sleep 0.1
  xdotool mousemove $(($1 + 15)) "$2"
  sleep 0.2
}

# Moves from X1 Y1 to X2 Y2 in ten small steps.
drag_steps() {
  local i
  for ((i = 1; i <= 10; i++)); do
    xdotool mousemove $(($1 + ($3 - $1) * i / 10)) $(($2 + ($4 - $2) * i / 10))
    sleep 0.05
  done
  sleep 0.3
}

# Settles onto X Y and lets go.
drag_end() {
  xdotool mousemove $(($1 + 2)) "$2"
  sleep 0.3
  xdotool mouseup 1
}

# Usage: drag FROM_X FROM_Y TO_X TO_Y
drag() {
  drag_start "$1" "$2"
  drag_steps $(($1 + 15)) "$2" "$3" "$4"
  drag_end "$3" "$4"
}

# Drags by way of a point, as a user who first brings the shelf down at the top centre.
# Usage: drag_via FROM_X FROM_Y VIA_X VIA_Y TO_X TO_Y
drag_via() {
  local i
  drag_start "$1" "$2"
  drag_steps $(($1 + 15)) "$2" "$3" "$4"
  # At the top edge, on against it for a moment: KWin answers only a second push.
  for ((i = 0; i < 5 && $4 == 0; i++)); do
    xdotool mousemove_relative -- 0 -3
    sleep 0.05
  done
  drag_steps "$3" "$4" "$5" "$6"
  drag_end "$5" "$6"
}
