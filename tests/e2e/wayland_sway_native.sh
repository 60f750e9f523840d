#!/usr/bin/env bash
# In a sway session (wlroots, nested), Verrabel natively, its windows layer surfaces: the shelf
# comes down when the pointer is pushed against the top edge at the centre and goes when it
# leaves; a file dragged from native thunar lands, a row dragged into native thunar is copied
# there, the tray item docks in waybar, and a click just below the edge reaches the window under
# it.
source "$(dirname "$0")/lib.sh"
native_only wayland_sway_native
e2e_begin wayland_sway_native welcomed
wayland_sway_start
swaymsg 'output * bg #306090 solid_color' >/dev/null
native_shelf
wayland_own "$HOME/native" "$E2E_DESKTOP"
outer xdotool mousemove 100 990
# Its first icon is at (336, 560).
wayland_place 'app_id="thunar"' 100 450 700 450
wayland_native thunar "$HOME/native"
expect "a native thunar" eventually 10 wayland_window 'app_id="thunar"'
e2e_launch
sleep 1
expect "it runs natively: no X11 window of its own" test -z "$(shelf_window)"
expect_hover

expect_native_drops 336 560 300 700

expect_tray_in_waybar
expect_click_below_the_edge
expect_fullscreen_left_alone
