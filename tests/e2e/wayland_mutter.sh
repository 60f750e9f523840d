#!/usr/bin/env bash
# Under mutter, GNOME's compositor, nested, Verrabel on Xwayland: the shelf comes down at the top
# centre, stays within 12 points of it, goes when the pointer moves onto a native window, opens
# under a drag from a native file manager and takes its drop, and gives rows to X11 applications
# and native ones: thunar, and Nautilus, which lives through it.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_mutter welcomed
wayland_mutter_start

mkdir -p "$HOME/native" "$HOME/Target" "$HOME/Nautilus"
echo "from a native window" >"$HOME/native/native.txt"
echo "stays on the Desktop" >"$E2E_DESKTOP/keep.txt"
pointer mousemove 100 990
# A 700x450 thunar opens at (99, 8); its first icon is at (317, 180).
wayland_thunar_size 700 450
wayland_until_drawn 449 300 wayland_native thunar "$HOME/native"
e2e_launch
sleep 1
expect_hover 300 300

# The drop lands only if the shelf came down under the drag at the top centre.
pointer mousemove 100 990
outer drag_via 317 180 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has native.txt
sleep 1
expect "the shelf stays under the pointer that dropped" shelf_mapped

# Rows go to native applications, through mutter's bridge, and to X11 ones.
outer drag "$FIRST_ROW_X" "$(first_row_y)" 300 300
expect "a row dragged into native thunar is copied" eventually 5 test -e "$HOME/native/keep.txt"
wayland_x11 pcmanfm --new-win "$HOME/Target"
place_window '^Target$' 850 500 700 450
bring_shelf_down
outer drag "$FIRST_ROW_X" "$(first_row_y)" 1200 800
expect "a row dragged into an X11 file manager is copied" eventually 5 test -e "$HOME/Target/keep.txt"
# Nautilus opens at the top left, under the shelf's left side.
wayland_until_drawn 300 500 wayland_native nautilus --new-window "$HOME/Nautilus"
nautilus_pid=$WAYLAND_LAST_PID
bring_shelf_down
outer drag "$FIRST_ROW_X" "$(first_row_y)" 300 500
expect "a row dragged into Nautilus is copied" eventually 5 test -e "$HOME/Nautilus/keep.txt"
sleep 1
expect "Nautilus lives through the drop" kill -0 "$nautilus_pid"
