#!/usr/bin/env bash
# A row dragged out of the shelf into a file manager is copied there; the Desktop keeps it.
# Clicking the shelf takes the keyboard focus from nobody.
source "$(dirname "$0")/lib.sh"
e2e_begin drag_out welcomed

echo "stays on the Desktop" >"$E2E_DESKTOP/keep.txt"
mkdir "$HOME/Target"
xsession_launch pcmanfm --new-win "$HOME/Target"
place_window '^Target$' 100 450 700 450
e2e_launch
sleep 1

focused=$(xdotool getwindowfocus)
expect "the shelf comes down" bring_shelf_down
xdotool mousemove "$FIRST_ROW_X" "$FIRST_ROW_Y" click 1
sleep 0.3
expect "a click on the shelf leaves the keyboard focus where it was" \
  test "$(xdotool getwindowfocus)" = "$focused"
drag "$FIRST_ROW_X" "$FIRST_ROW_Y" 400 700
expect "the file manager holds a copy" eventually 5 test -e "$HOME/Target/keep.txt"
expect "the copy is whole" cmp -s "$HOME/Target/keep.txt" "$E2E_DESKTOP/keep.txt"
expect "the Desktop still holds the original" desktop_has keep.txt
