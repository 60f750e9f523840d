#!/usr/bin/env bash
# Under KWin, Plasma's compositor, nested, Verrabel natively, its windows layer surfaces: the
# first launch shows the shelf for a moment; it comes down when the pointer is pushed against the top edge at the centre and goes when
# it leaves; a file dragged from native thunar lands, a row dragged into native thunar is copied
# there, and a click just below the edge reaches the window under it.
source "$(dirname "$0")/lib.sh"
# Only a build with the layer-shell backend runs natively.
grep -q '^VERRABEL_HAS_LAYER_SHELL:INTERNAL=ON' "$E2E_BUILD/CMakeCache.txt" || {
  echo "e2e: wayland_kwin_native skipped: this build has no layer-shell backend"
  exit 77
}
e2e_begin wayland_kwin_native
wayland_kwin_start
shelf_mapped() { shelf_drawn; }
# Where it hangs, the screen does not tell: that it is there.
shelf_at() { shelf_mapped; }

mkdir -p "$HOME/native"
echo "from a native window" >"$HOME/native/from-native.txt"
echo "on the desktop" >"$E2E_DESKTOP/keep.txt"
pointer mousemove 100 990
# KWin centres a 700x450 thunar at (450, 275); its first icon is at (667, 420).
wayland_thunar_size 700 450
wayland_until_drawn 800 500 wayland_native thunar "$HOME/native"
e2e_launch
expect "the very first launch shows the shelf" eventually 3 shelf_mapped
expect "it runs natively: no X11 window of its own" test -z "$(shelf_window)"
expect "for two seconds, then it goes" eventually 4 shelf_hidden
expect_hover

pointer mousemove 100 990
outer drag_via 667 420 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has from-native.txt
rm "$HOME/native/from-native.txt"
glide 800 600
expect "the shelf goes after the drop" eventually 2 shelf_hidden
bring_shelf_down
# The rows: from-native.txt, keep.txt. thunar lists its folder below the shelf.
outer drag "$FIRST_ROW_X" $(($(first_row_y) + 54)) 800 650
expect "a row dragged into native thunar is copied" eventually 5 test -e "$HOME/native/keep.txt"
expect "the copy is whole" cmp -s "$HOME/native/keep.txt" "$E2E_DESKTOP/keep.txt"

expect_click_below_the_edge
