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
# KWin centres a 700x450 thunar at (450, 275); its first icon is at (667, 420).
wayland_thunar_size 700 450
wayland_until_drawn 800 500 wayland_native thunar "$HOME/native"
e2e_launch VERRABEL_BACKEND=xwayland
sleep 1
expect_hover

# The keyboard stays with the user's window: the focus a native drag takes over the shelf goes
# back when the drag leaves it, or once its drop is taken.
ours_active() {
  local active
  active=$(xprop -root _NET_ACTIVE_WINDOW | grep -o '0x[0-9a-f]*$') &&
    xprop -id "$active" WM_CLASS 2>/dev/null | grep -q '"verrabel"'
}
pointer mousemove 100 990
outer drag_start 667 420
outer drag_steps 682 420 800 0
outer drag_steps 800 0 800 200
outer drag_steps 800 200 300 900
outer drag_end 300 900
sleep 0.5
expect "a drag across the shelf leaves the focus where it was" eval '! ours_active'
expect "and saves nothing" eval '! desktop_has native.txt'
pointer mousemove 100 990
outer drag_via 667 420 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has native.txt
expect "the focus goes back after the drop" eventually 2 eval '! ours_active'

mkdir -p "$HOME/Target"
wayland_x11 pcmanfm --new-win "$HOME/Target"
place_window '^Target$' 850 500 700 450
bring_shelf_down
outer drag "$FIRST_ROW_X" "$(first_row_y)" 1200 800
expect "a row dragged into an X11 file manager is copied" eventually 5 test -e "$HOME/Target/native.txt"

expect_click_below_the_edge
