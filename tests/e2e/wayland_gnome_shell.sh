#!/usr/bin/env bash
# In GNOME Shell, nested, Verrabel on Xwayland under the top bar: the shelf hangs below the bar,
# comes down when the pointer or a drag from a native file manager is pushed against the top
# edge at the centre, and stays while it moves down into it; the clock at the top centre opens
# its calendar whether the shelf is open or not; a file opened from the shelf gets the session's
# own environment, not Verrabel's choice of Qt platform.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_gnome_shell welcomed
wayland_gnome_shell_start
SHELF_TOP=32

mkdir -p "$HOME/native" "$HOME/bin" "$XDG_DATA_HOME/applications"
echo "from a native window" >"$HOME/native/native.txt"
echo "opened" >"$E2E_DESKTOP/a.txt"
# The default application for text notes the environment it was started with.
printf '#!/bin/sh\necho "QT_QPA_PLATFORM=${QT_QPA_PLATFORM-unset}" >"$HOME/opened.env"\n' \
  >"$HOME/bin/record-open"
chmod +x "$HOME/bin/record-open"
printf '[Desktop Entry]\nType=Application\nName=Recorder\nExec=%s %%f\nMimeType=text/plain;\n' \
  "$HOME/bin/record-open" >"$XDG_DATA_HOME/applications/recorder.desktop"
printf '[Default Applications]\ntext/plain=recorder.desktop\n' >"$XDG_CONFIG_HOME/mimeapps.list"
pointer mousemove 100 990
# A 700x450 thunar opens at (99, 193) under the bar; its first icon is at (317, 380).
wayland_thunar_size 700 450
wayland_until_drawn 449 500 wayland_native thunar "$HOME/native"
e2e_launch
sleep 1

# calendar_open: GNOME Shell's calendar hangs from the clock, wider than the shelf.
backdrop=$(wayland_pixel 480 200)
calendar_open() { [[ $(wayland_pixel 480 200) != "$backdrop" ]]; }
calendar_shut() { ! calendar_open; }
pointer mousemove 800 16
sleep 0.5
expect "the clock in the bar is not the shelf's" shelf_hidden
pointer click 1
expect "the clock opens its calendar" eventually 2 calendar_open
pointer key Escape
expect "the calendar closes" eventually 2 calendar_shut

pointer mousemove 800 0
expect "pushed against the top edge, the pointer brings the shelf down under the bar" \
  eventually 1 shelf_at 590 32
# Down across the bar at a hand's pace: a moment over the bar, where Verrabel cannot see it.
pointer mousemove 800 16
sleep 0.25
pointer mousemove 800 200
sleep 0.5
expect "it stays while the pointer moves down into it" shelf_mapped
pointer mousemove 800 16
pointer click 1
expect "the clock opens its calendar with the shelf open" eventually 2 calendar_open
pointer key Escape
expect "the calendar closes again" eventually 2 calendar_shut

# The drop lands only if the shelf came down under the drag at the top edge.
pointer mousemove 100 990
outer drag_via 317 380 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has native.txt

bring_shelf_down
pointer mousemove 800 200
sleep 0.3
pointer mousemove "$FIRST_ROW_X" "$(first_row_y)"
sleep 0.3
pointer click --repeat 2 --delay 80 1
expect "a double-click opens the file" eventually 5 test -s "$HOME/opened.env"
expect "with the session's own Qt platform" grep -qx 'QT_QPA_PLATFORM=unset' "$HOME/opened.env"
