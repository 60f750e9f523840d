#!/usr/bin/env bash
# A new screen size moves the shelf to the new top centre; the X server going away ends
# Verrabel at once, without a crash.
source "$(dirname "$0")/lib.sh"
e2e_begin robustness welcomed

e2e_launch
sleep 1
expect "the shelf comes down" bring_shelf_down
xdotool mousemove 800 200
expect "at the top centre of 1600 x 1000" shelf_at 590 25

xrandr --newmode 1280x800 68.00 1280 1328 1360 1440 800 803 809 823 >/dev/null
xrandr --addmode screen 1280x800
xrandr --output screen --mode 1280x800
xdotool mousemove 640 200
expect "at the new top centre of 1280 x 800" eventually 2 shelf_at 430 25

kill "${XSESSION_PIDS[0]}" # Xvfb
exited() { ! kill -0 "$E2E_APP" 2>/dev/null; }
expect "Verrabel ends when the X server goes" eventually 3 exited
status=0
wait "$E2E_APP" || status=$?
expect "by exiting, not by a signal (status $status)" test "$status" -lt 128
