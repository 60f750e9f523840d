#!/usr/bin/env bash
# In a labwc session (wlroots, nested), Verrabel natively, its windows layer surfaces: the shelf
# comes down when the pointer is pushed against the top edge at the centre and goes when it
# leaves; a file dragged from native thunar lands, and a row dragged into native thunar is
# copied there.
source "$(dirname "$0")/lib.sh"
# Only a build with the layer-shell backend runs natively, and labwc runs it from Debian 14 on.
grep -q '^VERRABEL_HAS_LAYER_SHELL:INTERNAL=ON' "$E2E_BUILD/CMakeCache.txt" && command -v labwc >/dev/null || {
  echo "e2e: wayland_labwc_native skipped: no layer-shell backend or no labwc"
  exit 77
}
e2e_begin wayland_labwc_native welcomed
wayland_labwc_start
shelf_mapped() { shelf_drawn; }
# Where it hangs, the screen does not tell: that it is there.
shelf_at() { shelf_mapped; }

mkdir -p "$HOME/native"
echo "from a native window" >"$HOME/native/from-native.txt"
echo "on the desktop" >"$E2E_DESKTOP/keep.txt"
pointer mousemove 100 990
wayland_until_drawn 450 700 wayland_native thunar "$HOME/native"
e2e_launch
sleep 1
expect "it runs natively: no X11 window of its own" test -z "$(shelf_window)"
expect_hover

# thunar's first icon is at (338, 628). The drop lands only if the shelf came down under the drag
# at the top edge.
outer drag_via 338 628 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has from-native.txt
rm "$HOME/native/from-native.txt"
glide 800 600
expect "the shelf goes after the drop" eventually 2 shelf_hidden
bring_shelf_down
# The rows: from-native.txt, keep.txt.
outer drag "$FIRST_ROW_X" $(($(first_row_y) + 54)) 500 700
expect "a row dragged into native thunar is copied" eventually 5 test -e "$HOME/native/keep.txt"
expect "the copy is whole" cmp -s "$HOME/native/keep.txt" "$E2E_DESKTOP/keep.txt"
