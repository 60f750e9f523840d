#!/usr/bin/env bash
# In a sway session (wlroots, nested), Verrabel natively, its windows layer surfaces: the shelf
# comes down when the pointer is pushed against the top edge at the centre and goes when it
# leaves; a file dragged from native thunar lands, a row dragged into native thunar is copied
# there, the tray item docks in waybar, and a click just below the edge reaches the window under
# it.
source "$(dirname "$0")/lib.sh"
# Only a build with the layer-shell backend runs natively.
grep -q '^VERRABEL_HAS_LAYER_SHELL:INTERNAL=ON' "$E2E_BUILD/CMakeCache.txt" || {
  echo "e2e: wayland_sway_native skipped: this build has no layer-shell backend"
  exit 77
}
e2e_begin wayland_sway_native welcomed
wayland_sway_start
swaymsg 'output * bg #306090 solid_color' >/dev/null
shelf_mapped() { shelf_drawn; }
# Where it hangs, the screen does not tell: that it is there.
shelf_at() { shelf_mapped; }

mkdir -p "$HOME/native"
echo "from a native window" >"$HOME/native/from-native.txt"
echo "on the desktop" >"$E2E_DESKTOP/keep.txt"
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

# The drop lands only if the shelf came down under the drag at the top edge.
outer drag_via 336 560 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has from-native.txt
rm "$HOME/native/from-native.txt"
glide 800 600
expect "the shelf goes after the drop" eventually 2 shelf_hidden
bring_shelf_down
# The rows: from-native.txt, keep.txt.
outer drag "$FIRST_ROW_X" $(($(first_row_y) + 54)) 300 700
expect "a row dragged into native thunar is copied" eventually 5 test -e "$HOME/native/keep.txt"
expect "the copy is whole" cmp -s "$HOME/native/keep.txt" "$E2E_DESKTOP/keep.txt"

expect_tray_in_waybar
expect_click_below_the_edge
