#!/usr/bin/env bash
# Under KWin, Plasma's compositor, nested, Verrabel natively, its windows layer surfaces: the
# first launch shows the shelf for a moment; it comes down when the pointer is pushed against the
# top edge at the centre and goes when it leaves; a file dragged from native thunar lands, a row
# dragged into native thunar is copied there, and a click just below the edge reaches the window
# under it, as does one at the very top edge of a maximised window.
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

expect_click_below_the_edge
expect_click_at_the_edge
expect_fullscreen_left_alone
