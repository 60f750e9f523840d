#!/usr/bin/env bash
# In a GNOME Wayland session (mutter, nested), Verrabel on Xwayland: the shelf comes down at the
# top centre, stays within 12 points of it, goes when the pointer moves onto a native window,
# opens under a drag from a native file manager and takes its drop, and gives rows to X11
# applications.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_gnome welcomed
wayland_mutter_start

mkdir -p "$HOME/native" "$HOME/Target"
echo "from a native window" >"$HOME/native/native.txt"
echo "stays on the Desktop" >"$E2E_DESKTOP/keep.txt"
outer xdotool mousemove 100 990
# A 700x450 thunar opens at (99, 8); its first icon is at (317, 180).
wayland_thunar_size 700 450
wayland_until_drawn 449 300 wayland_native thunar "$HOME/native"
e2e_launch
sleep 1
expect_hover outer
outer xdotool mousemove 300 300
expect "onto a native window, it goes" eventually 1 shelf_hidden

# The drop lands only if the shelf came down under the drag at the top centre.
outer xdotool mousemove 100 990
outer drag_via 317 180 800 5 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has native.txt
sleep 1
expect "the shelf stays under the pointer that dropped" shelf_mapped

# X11 applications take rows: pcmanfm on Xwayland.
wayland_exec pcmanfm --new-win "$HOME/Target"
place_window '^Target$' 850 500 700 450
outer xdotool mousemove 800 3
expect "the shelf is there" eventually 1 shelf_mapped
outer drag "$FIRST_ROW_X" "$FIRST_ROW_Y" 1200 800
expect "a row dragged into an X11 file manager is copied" eventually 5 test -e "$HOME/Target/keep.txt"
