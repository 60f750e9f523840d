#!/usr/bin/env bash
# In GNOME Shell, headless, Verrabel on Xwayland, moved by a mouse that moves as real ones do
# (relative steps): the shelf comes down at the top edge and goes when the pointer leaves it,
# also after the clock's calendar was opened and closed.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_gnome_shell_mouse welcomed
wayland_gnome_headless_start
mouse() { /usr/bin/python3 "$E2E_SOURCE/tests/e2e/remote_mouse.py" "$@"; }
e2e_launch
sleep 1

# Out of the Overview; then to the centre from the bottom-right corner (the top-left one is the
# Overview's).
mouse key 0xff1b move 2000 2000 move -800 -500
expect "away from the edge the shelf is up" shelf_hidden
mouse move 0 -600
expect "pushed against the top edge, the pointer brings the shelf down" eventually 1 shelf_mapped
mouse move 0 600
expect "the shelf goes when the pointer leaves it" eventually 1 shelf_hidden

# The clock is at the centre of the bar; its calendar holds the pointer while open.
mouse move 0 -585 click
sleep 1
mouse move 0 -20
sleep 0.5
expect "the open calendar keeps the pointer from the shelf" shelf_hidden
mouse move 0 15 key 0xff1b move 0 -20
expect "after the calendar, the top edge brings the shelf down" eventually 1 shelf_mapped
mouse move 0 600
expect "and the shelf goes when the pointer leaves it" eventually 1 shelf_hidden
mouse move 0 -600 move 0 600 move 300 0
expect "up and away again, it goes again" eventually 1 shelf_hidden
