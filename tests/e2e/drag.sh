# shellcheck shell=bash
# Drags with the pointer held down, the way X drag and drop sources need to see it: pauses
# between press, the first moves and release, and many small steps in between.
# Usage: drag FROM_X FROM_Y TO_X TO_Y
drag() {
  local x1=$1 y1=$2 x2=$3 y2=$4 steps=15 i
  xdotool mousemove "$x1" "$y1"
  sleep 0.3
  xdotool mousedown 1
  sleep 0.3
  xdotool mousemove $((x1 + 5)) "$y1"
  sleep 0.1
  xdotool mousemove $((x1 + 15)) "$y1"
  sleep 0.2
  for ((i = 1; i <= steps; i++)); do
    xdotool mousemove $((x1 + 15 + (x2 - x1 - 17) * i / steps)) $((y1 + (y2 - y1) * i / steps))
    sleep 0.05
  done
  sleep 0.3
  xdotool mousemove "$x2" "$y2"
  sleep 0.3
  xdotool mouseup 1
}
