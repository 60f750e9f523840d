#!/usr/bin/env bash
# Under KWin, Plasma's compositor, nested, Verrabel natively, its windows layer surfaces: the
# first launch shows the shelf for a moment; it comes down when the pointer is pushed against the
# top edge at the centre and goes when it leaves; a file dragged from native thunar lands, a row
# dragged into native thunar is copied there, one dragged into a GTK 4 target reaches it by its
# transfer key, and a click just below the edge reaches the window under it, as does one at the
# very top edge of a maximised window.
source "$(dirname "$0")/lib.sh"
native_only wayland_kwin_native
e2e_begin wayland_kwin_native
wayland_kwin_start
native_shelf
pointer mousemove 100 990
# KWin centres a 700x450 thunar at (450, 275); its first icon is at (667, 420).
wayland_thunar_size 700 450
wayland_until_drawn 800 500 wayland_native thunar "$HOME/native"
e2e_launch
expect "the very first launch shows the shelf" eventually 3 shelf_mapped
expect "it runs natively: no X11 window of its own" test -z "$(shelf_window)"
expect "for two seconds, then it goes" eventually 4 shelf_hidden
expect_hover

# thunar lists its folder below the shelf.
expect_native_drops 667 420 800 650

# A row dropped back on the shelf is already there; a drag of Verrabel's own leaves nothing
# waiting. Then, as a sandboxed application takes files: a native GTK 4 target, centred by KWin,
# asks the row's drag for its transfer key alone and gets the file through the document portal.
: >"$E2E_ARTIFACTS/target.log"
wayland_native /usr/bin/python3 "$E2E_SOURCE/tests/e2e/portal_target_gtk.py" "$E2E_ARTIFACTS/target.log"
expect "the GTK 4 target is up" eventually 10 grep -qx ready "$E2E_ARTIFACTS/target.log"
bring_shelf_down
# The rows: from-native.txt, keep.txt.
outer drag "$FIRST_ROW_X" $(($(first_row_y) + 54)) "$FIRST_ROW_X" $(($(first_row_y) + 150))
outer drag "$FIRST_ROW_X" $(($(first_row_y) + 54)) 800 500
expect "a row dragged into a target that asks for its key alone reaches it by the key" \
  eventually 5 grep -qxF "$E2E_DESKTOP/keep.txt readable" "$E2E_ARTIFACTS/target.log"
expect "the row dropped back on the shelf made no copy" \
  test "$(ls "$E2E_DESKTOP")" = "$(printf 'from-native.txt\nkeep.txt')"

expect_click_below_the_edge
expect_click_at_the_edge
expect_fullscreen_left_alone
