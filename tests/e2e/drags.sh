#!/usr/bin/env bash
# Files dragged in from real file managers land on the Desktop, never over what is there; a row
# dragged out into a file manager is copied there and stays on the Desktop. Clicking the shelf
# takes the keyboard focus from nobody.
source "$(dirname "$0")/lib.sh"
e2e_begin drags welcomed

mkdir -p "$HOME/one" "$HOME/folder/Album" "$HOME/two" "$HOME/out"
echo hello >"$HOME/one/report.pdf"
echo picture >"$HOME/folder/Album/photo.jpg"
echo 1 >"$HOME/two/one.txt"
echo 2 >"$HOME/two/two.txt"
e2e_launch
sleep 1

# pcmanfm: in a window at (100, 450), the first icon is at (307, 568).
xsession_launch pcmanfm --new-win "$HOME/one"
place_window '^one$' 100 450 700 450
drag_via 307 568 800 5 800 200
expect "a file dropped from pcmanfm is saved" eventually 5 desktop_has report.pdf
drag_via 307 568 800 5 800 200
expect "the same file again is saved beside it" eventually 5 desktop_has "report (1).pdf"
expect "and the first copy is untouched" grep -q hello "$E2E_DESKTOP/report.pdf"

xsession_launch pcmanfm --new-win "$HOME/folder"
place_window '^folder$' 100 450 700 450
drag_via 307 568 800 5 800 200
expect "a folder is saved with what is in it" eventually 5 desktop_has Album/photo.jpg

# thunar shows root a warning bar above its icons.
xsession_launch thunar "$HOME/two"
place_window '^two - Thunar$' 100 450 700 450
first_icon_y=$((577 + ($(id -u) == 0 ? 35 : 0)))
xdotool mousemove 600 800 click 1 key ctrl+a
sleep 0.5
drag_via 312 "$first_icon_y" 800 5 800 200
expect "two files dropped at once from thunar are both saved" \
  eventually 5 bash -c "[[ -e '$E2E_DESKTOP/one.txt' && -e '$E2E_DESKTOP/two.txt' ]]"
screenshot after

# The first row is Album.
xsession_launch pcmanfm --new-win "$HOME/out"
place_window '^out$' 100 450 700 450
focused=$(xdotool getwindowfocus)
expect "the shelf comes down" bring_shelf_down
xdotool mousemove "$FIRST_ROW_X" "$FIRST_ROW_Y" click 1
sleep 0.3
expect "a click on the shelf leaves the keyboard focus where it was" \
  test "$(xdotool getwindowfocus)" = "$focused"
drag "$FIRST_ROW_X" "$FIRST_ROW_Y" 400 700
expect "the file manager holds a copy" eventually 5 test -e "$HOME/out/Album/photo.jpg"
expect "the copy is whole" cmp -s "$HOME/out/Album/photo.jpg" "$E2E_DESKTOP/Album/photo.jpg"
expect "the Desktop still holds the original" desktop_has Album/photo.jpg
