#!/usr/bin/env bash
# The shelf's life in an X session: shown once on the first launch, not on the next; down at the
# top centre and gone again with the pointer moving as a hand does; hanging below a panel along
# the top, which keeps its own middle; moved by a new screen size; ended, not crashed, by the X
# server going away.
source "$(dirname "$0")/lib.sh"
e2e_begin hover

xdotool mousemove 100 900
e2e_launch
expect "the first launch shows the shelf at the top centre" eventually 3 shelf_at 590 25
expect "the welcome's shelf goes a little over two seconds later" eventually 5 shelf_hidden
expect "the welcome is remembered" grep -q 'didWelcome=true' "$XDG_CONFIG_HOME/Verrabel/Verrabel.conf"
kill "$E2E_APP"
wait "$E2E_APP" || true
# A session that calls itself Wayland without a Wayland display: Qt alone would try Wayland.
e2e_launch XDG_SESSION_TYPE=wayland
sleep 2
expect_hover
expect_fullscreen_left_alone

# A panel the desktop keeps along the top, 32 high: the shelf hangs below it, only the top edge
# brings it down, and the rest of the panel stays the panel's.
tray_host top
panel=$XSESSION_LAST_PID
glide 800 16
sleep 0.5
expect "the top panel's middle is the panel's" shelf_hidden
glide 800 0
expect "the top edge brings the shelf down below the panel" eventually 1 shelf_at 590 32
glide 800 16
expect "back on the panel, it goes" eventually 1 shelf_hidden
kill "$panel"
glide 800 0
expect "without the panel, it hangs from the top edge again" eventually 2 shelf_at 590 25

xrandr --newmode 1280x800 68.00 1280 1328 1360 1440 800 803 809 823 >/dev/null
xrandr --addmode screen 1280x800
xrandr --output screen --mode 1280x800
xdotool mousemove 640 200
expect "at the new top centre of 1280 x 800" eventually 2 shelf_at 430 25

# Split into two monitors side by side: each top centre brings the shelf down on its own.
xrandr --setmonitor left 640/169x800/211+0+0 screen >/dev/null
xrandr --setmonitor right 640/169x800/211+640+0 none >/dev/null
glide 960 400
expect "off the first monitor's zone, it goes" eventually 2 shelf_hidden
glide 960 0
expect "the second monitor's top centre brings it down there" eventually 2 shelf_at 750 25
glide 960 400
expect "and it goes as there" eventually 2 shelf_hidden
glide 320 0
expect "the first monitor's still brings it down" eventually 2 shelf_at 110 25

kill "${XSESSION_PIDS[0]}" # Xvfb
exited() { ! kill -0 "$E2E_APP" 2>/dev/null; }
expect "Verrabel ends when the X server goes" eventually 3 exited
status=0
wait "$E2E_APP" || status=$?
expect "by exiting, not by a signal (status $status)" test "$status" -lt 128
