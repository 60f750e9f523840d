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

# Two outputs side by side, 800 wide each: the top centre of each brings the shelf down there.
swaymsg create_output >/dev/null
swaymsg 'output X11-1 resolution 800x1000 position 0 0' >/dev/null
swaymsg 'output X11-2 resolution 800x1000 position 800 0' >/dev/null
# Its window on the Xvfb, where the pointer goes into it.
second_output() { outer xwininfo -root -tree | awk '/"wlroots - X11-2"/ {print $1}' | grep .; }
second=$(eventually 5 second_output)
outer xdotool windowmove "$second" 800 0
# shelf_on X: the shelf's grey body spans X - 200 to X + 200, centred there.
grey_at() {
  local r g b
  IFS=, read -r r g b < <(wayland_pixel "$1" 150 | tr -dc '0-9,')
  ((r >= 215 && r <= 240 && g >= 215 && g <= 240 && b >= 215 && b <= 240))
}
shelf_on() { grey_at $(($1 - 200)) && grey_at $(($1 + 200)); }
shelf_off() { ! grey_at "$1"; }
push_at() {
  local i
  glide "$1" 0
  for ((i = 0; i < 10; i++)); do sleep 0.04 && pointer mousemove_relative -- 0 -3; done
}
glide 1200 600
sleep 1
push_at 1200
expect "the second output's top centre brings the shelf down there" eventually 2 shelf_on 1200
glide 1200 600
expect "it goes as there" eventually 2 shelf_off 1200
push_at 400
expect "the first output's still brings it down" eventually 2 shelf_on 400
