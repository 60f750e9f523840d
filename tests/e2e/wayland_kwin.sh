#!/usr/bin/env bash
# Under KWin, Plasma's compositor, nested, Verrabel on Xwayland (chosen: natively is the other
# scenario's): the shelf comes down at the top
# centre and goes with the pointer moving as a hand does, pauses included; a file dragged from a
# native file manager by way of the top centre lands in it (KWin hands such drags only to windows
# it manages, and their data only to the active one); a row goes to an X11 file manager.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_kwin welcomed
wayland_kwin_start

mkdir -p "$HOME/native"
echo "from a native window" >"$HOME/native/native.txt"
pointer mousemove 100 990
# KWin centres thunar: a 700x450 one at (450, 275), its first icon at (667, 420); KWin 6.7
# opens it 640 wide, its first icon at (718, 420). (700, 420) is on the icon in both.
wayland_thunar_size 700 450
wayland_until_drawn 800 500 wayland_native thunar "$HOME/native"
e2e_launch VERRABEL_BACKEND=xwayland
sleep 1
expect_hover

# The keyboard stays with the user's window: the window KWin had active before a native drag
# crossed the shelf, or dropped on it, is active again at once.
active_window() { xprop -root _NET_ACTIVE_WINDOW | grep -o '0x[0-9a-f]*$'; }
active_again() { [[ $(active_window) == "$1" ]]; }
pointer mousemove 100 990
before=$(active_window)
outer drag_start 700 420
outer drag_steps 715 420 800 0
outer drag_steps 800 0 800 200
outer drag_steps 800 200 300 900
outer drag_end 300 900
expect "a drag across the shelf leaves the active window as it was" eventually 0.5 active_again "$before"
expect "and saves nothing" eval '! desktop_has native.txt'
# The shelf came down and went with the pointer below it: there Xwayland last saw the pointer,
# and tells of it again when the shelf's windows move under the next drag. Up to the top edge
# as a hand moves, a pause there, then down onto the shelf.
bring_shelf_down
glide 800 600
expect "the shelf goes" eventually 1 shelf_hidden
pointer mousemove 100 990
outer drag_start 700 420
glide 800 0
sleep 0.3
glide 800 200
outer drag_end 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has native.txt
expect "the window active before the drop is active again" eventually 0.5 active_again "$before"

mkdir -p "$HOME/Target"
wayland_x11 pcmanfm --new-win "$HOME/Target"
place_window '^Target$' 850 500 700 450
bring_shelf_down
outer drag "$FIRST_ROW_X" "$(first_row_y)" 1200 800
expect "a row dragged into an X11 file manager is copied" eventually 5 test -e "$HOME/Target/native.txt"

expect_click_below_the_edge
expect_fullscreen_left_alone
