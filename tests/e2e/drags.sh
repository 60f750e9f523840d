#!/usr/bin/env bash
# Files dragged in from real file managers land on the Desktop, and so do promised ones, whole,
# with their temporary folders gone: an entry dragged out of an archive in engrampa, and two
# entries far apart in one; the tests' own source, whose child that never touches the folder holds
# nothing. A row dragged out into a file manager is copied there and stays on
# the Desktop. Clicking the shelf takes the keyboard focus from nobody.
source "$(dirname "$0")/lib.sh"
e2e_begin drags welcomed

export TMPDIR="$HOME/tmp"
mkdir -p "$TMPDIR" "$HOME/content" "$HOME/one" "$HOME/folder/Album" "$HOME/two" "$HOME/out"
echo "inside the archive" >"$HOME/content/notes.txt"
(cd "$HOME/content" && zip -q ../archive.zip notes.txt)
echo hello >"$HOME/one/report.pdf"
echo picture >"$HOME/folder/Album/photo.jpg"
echo 1 >"$HOME/two/one.txt"
echo 2 >"$HOME/two/two.txt"
# Two small entries with 24 MB of noise between them, which bzip2 takes a second or so to read.
mkdir -p "$HOME/gap"
echo "first entry" >"$HOME/gap/first.txt"
head -c 24000000 /dev/urandom >"$HOME/gap/middle.bin"
echo "last entry" >"$HOME/gap/last.txt"
(cd "$HOME/gap" && tar -cf - first.txt middle.bin last.txt | bzip2 -1 >"$HOME/gap.tar.bz2") &
archiving=$!
xsession_launch engrampa "$HOME/archive.zip"
place_window '^archive.zip' 100 450 700 450
# The result of a drop is read back as a screen reader meets it.
unset NO_AT_BRIDGE
dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress >/dev/null
e2e_launch QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
sleep 1

# The archive's one entry is the first row of engrampa's list.
drag_via 160 617 800 5 800 200
expect "the archive's entry lands on the Desktop" eventually 10 desktop_has notes.txt
expect "whole" grep -q "inside the archive" "$E2E_DESKTOP/notes.txt"
expect "the temporary folder is gone" eventually 5 no_temporaries

# Selected together, the archive's first and last entries: engrampa's tar writes the first, then
# reads through the noise, quiet, before it writes the last.
wait "$archiving"
# engrampa's windows but its archives' own and small ones (a tooltip, a drag's icon): a dialog.
engrampa_dialogs() {
  local window WIDTH HEIGHT X Y SCREEN count=0
  for window in $(xdotool search --onlyvisible --class engrampa); do
    [[ $(xdotool getwindowname "$window") =~ ^(archive.zip|gap.tar.bz2)\ $ ]] && continue
    eval "$(xdotool getwindowgeometry --shell "$window")"
    ((WIDTH > 200 && HEIGHT > 80)) && ((++count))
  done
  echo "$count"
}
xsession_launch engrampa "$HOME/gap.tar.bz2"
place_window '^gap.tar.bz2' 100 450 700 450
# engrampa lists them by name: the first row clicked, the cursor moved down and the second
# added to the selection.
xdotool mousemove 160 617 click 1
sleep 0.5
xdotool key ctrl+Down ctrl+space
sleep 0.3
drag_via 160 617 800 5 800 200
both_whole() { cmp -s "$HOME/gap/first.txt" "$E2E_DESKTOP/first.txt" && cmp -s "$HOME/gap/last.txt" "$E2E_DESKTOP/last.txt"; }
expect "both entries land whole" eventually 15 both_whole
expect "the result counts both" eventually 5 reads "已存到桌面 · 2 个项目"
expect "their temporary folder is gone" eventually 5 no_temporaries
expect "engrampa shows no error" test "$(engrampa_dialogs)" -eq 0

# A source that says it saved before writing, writes, and starts a child that never touches the
# folder and runs on long after: the child holds nothing (how soon it lands, bench/promise_gap.sh).
drop_promise helped.bin U 1 0 25

# pcmanfm: in a window at (100, 450), the first icon is at (307, 568).
xsession_launch pcmanfm --new-win "$HOME/one"
place_window '^one$' 100 450 700 450
drag_via 307 568 800 5 800 200
expect "a file dropped from pcmanfm is saved" eventually 5 desktop_has report.pdf

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

# The first row is Album.
xsession_launch pcmanfm --new-win "$HOME/out"
place_window '^out$' 100 450 700 450
focused=$(xdotool getwindowfocus)
expect "the shelf comes down" bring_shelf_down
xdotool mousemove "$FIRST_ROW_X" "$(first_row_y)" click 1
sleep 0.3
expect "a click on the shelf leaves the keyboard focus where it was" \
  test "$(xdotool getwindowfocus)" = "$focused"
drag "$FIRST_ROW_X" "$(first_row_y)" 400 700
expect "the file manager holds a copy" eventually 5 test -e "$HOME/out/Album/photo.jpg"
expect "the copy is whole" cmp -s "$HOME/out/Album/photo.jpg" "$E2E_DESKTOP/Album/photo.jpg"
expect "the Desktop still holds the original" desktop_has Album/photo.jpg

# ctrl_click N / shift_click N: the shelf's Nth row, with the key held.
row_y() { echo $(($(first_row_y) + 54 * ($1 - 1))); }
ctrl_click() { xdotool mousemove "$FIRST_ROW_X" "$(row_y "$1")" keydown ctrl click 1 keyup ctrl; }
shift_click() { xdotool mousemove "$FIRST_ROW_X" "$(row_y "$1")" keydown shift click 1 keyup shift; }
# The rows in the shelf's order.
mapfile -t rows < <(ls "$E2E_DESKTOP" | LC_ALL=C.UTF-8 sort -f)
# copied_into FOLDER N...: the Nth rows are in FOLDER, whole.
copied_into() {
  local n
  for n in "${@:2}"; do diff -rq "$E2E_DESKTOP/${rows[n - 1]}" "$1/${rows[n - 1]}" >/dev/null || return 1; done
}

# The first and third rows chosen with Ctrl and the third dragged: both are copied, not the second.
mkdir "$HOME/picked"
xsession_launch pcmanfm --new-win "$HOME/picked"
place_window '^picked$' 100 450 700 450
bring_shelf_down
ctrl_click 1
ctrl_click 3
drag "$FIRST_ROW_X" "$(row_y 3)" 400 700
expect "both chosen rows are copied whole" eventually 5 copied_into "$HOME/picked" 1 3
expect "the row between them is not" test ! -e "$HOME/picked/${rows[1]}"
expect "the Desktop keeps all three" bash -c \
  "[[ -e '$E2E_DESKTOP/${rows[0]}' && -e '$E2E_DESKTOP/${rows[1]}' && -e '$E2E_DESKTOP/${rows[2]}' ]]"

# A click on the second row and Shift on the fourth choose the three from the second: a row
# outside them is dragged alone, one of them drags all three.
mkdir "$HOME/range"
xsession_launch pcmanfm --new-win "$HOME/range"
place_window '^range$' 100 450 700 450
choose_range() {
  bring_shelf_down
  xdotool mousemove "$FIRST_ROW_X" "$(row_y 2)" click 1
  shift_click 4
}
choose_range
drag "$FIRST_ROW_X" "$(row_y 1)" 400 700
expect "a row outside the choice goes alone" eventually 5 copied_into "$HOME/range" 1
sleep 0.5
expect "without the chosen ones" test "$(ls "$HOME/range" | wc -l)" -eq 1
rm -r "${HOME:?}/range/${rows[0]}"
choose_range
drag "$FIRST_ROW_X" "$(row_y 3)" 400 700
expect "the range's three rows are copied" eventually 5 copied_into "$HOME/range" 2 3 4
expect "nothing before it" test ! -e "$HOME/range/${rows[0]}"
