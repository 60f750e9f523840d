#!/usr/bin/env bash
# In a labwc session (wlroots, nested), Verrabel natively, its windows layer surfaces: the shelf
# comes down when the pointer is pushed against the top edge at the centre and goes when it
# leaves; a file dragged from native thunar lands, and a row dragged into native thunar is
# copied there.
source "$(dirname "$0")/lib.sh"
native_only wayland_labwc_native labwc
e2e_begin wayland_labwc_native welcomed
wayland_labwc_start
native_shelf
pointer mousemove 100 990
wayland_until_drawn 450 700 wayland_native thunar "$HOME/native"
e2e_launch
sleep 1
expect "it runs natively: no X11 window of its own" test -z "$(shelf_window)"
expect_hover

# thunar's first icon is at (338, 628).
expect_native_drops 338 628 500 700
expect_fullscreen_left_alone
