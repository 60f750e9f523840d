#!/usr/bin/env bash
# In a sway session (wlroots, nested), Verrabel on Xwayland (chosen: natively is the other
# scenario's): the shelf comes down at the top
# centre and goes; a drop from a native file manager lands, although wlroots hands its data over
# only while the drag moves; and the tray item is in waybar, started after Verrabel, as a
# StatusNotifierItem whose menu shows the shelf.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_sway welcomed
wayland_sway_start

mkdir -p "$HOME/native"
echo "from a native window" >"$HOME/native/from-native.txt"
wayland_own "$HOME/native" "$XDG_CONFIG_HOME"
outer xdotool mousemove 100 990
# Its first icon is at (336, 560).
wayland_place 'app_id="thunar"' 100 450 700 450
wayland_native thunar "$HOME/native"
expect "a native thunar" eventually 10 wayland_window 'app_id="thunar"'
e2e_launch VERRABEL_BACKEND=xwayland
sleep 1
expect_hover
outer xdotool mousemove 300 700
expect "onto a native window, it goes" eventually 1 shelf_hidden

# The drop lands only if the shelf came down under the drag at the top centre.
outer drag_via 336 560 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has from-native.txt

expect_tray_in_waybar

expect_click_below_the_edge
