#!/usr/bin/env bash
# The shelf's life in an X session: shown once on the first launch, not on the next; down at the
# top centre and gone again with the pointer; moved by a new screen size; ended, not crashed, by
# the X server going away.
source "$(dirname "$0")/lib.sh"
e2e_begin hover

xdotool mousemove 100 900
e2e_launch
expect "the first launch shows the shelf at the top centre" eventually 3 shelf_at 590 25
expect "the welcome's shelf goes a little over two seconds later" eventually 5 shelf_hidden
expect "the welcome is remembered" grep -q 'didWelcome=true' "$XDG_CONFIG_HOME/Verrabel/Verrabel.conf"
kill "$E2E_APP"
wait "$E2E_APP" || true
e2e_launch
sleep 2
expect_hover

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
