#!/usr/bin/env bash
# Promised files land on the Desktop whole, and their temporary folders go: an entry dragged
# out of an archive in engrampa, and the tests' own source answering only after writing in
# bursts with pauses, or leaving the writing to us.
source "$(dirname "$0")/lib.sh"
e2e_begin promise welcomed

export TMPDIR="$HOME/tmp"
mkdir -p "$TMPDIR" "$HOME/content"
echo "inside the archive" >"$HOME/content/notes.txt"
(cd "$HOME/content" && zip -q ../archive.zip notes.txt)
xsession_launch engrampa "$HOME/archive.zip"
place_window '^archive.zip' 100 450 700 450
e2e_launch
sleep 1

# The archive's one entry is the first row of engrampa's list.
drag_via 160 617 800 5 800 200
expect "the entry lands on the Desktop" eventually 10 desktop_has notes.txt
expect "whole" grep -q "inside the archive" "$E2E_DESKTOP/notes.txt"
no_temporaries() { [[ -z "$(ls -A "$TMPDIR")" ]]; }
expect "the temporary folder is gone" eventually 5 no_temporaries

# whole_when_seen NAME SIZE: waits for NAME on the Desktop; fails if it ever shows short.
whole_when_seen() {
  local size tries=1000
  until size=$(stat -c %s "$E2E_DESKTOP/$1" 2>/dev/null); do ((--tries)) && sleep 0.02 || return 1; done
  [[ $size == "$2" ]] || { echo "e2e: $1 showed with $size of $2 bytes" >&2 && return 1; }
}

# drop_promise NAME ANSWER [BURSTS PAUSE DELAY]: the tests' source drops NAME on the shelf.
drop_promise() {
  local name=$1
  shift
  head -c 3000000 /dev/urandom >"$HOME/$name"
  whole_when_seen "$name" 3000000 &
  local watcher=$!
  expect "the shelf is open" bring_shelf_down
  xdotool mousemove 800 200
  expect "the source of $name saw its drop finished" \
    /usr/bin/python3 "$E2E_SOURCE/tests/e2e/xds_source.py" "$(shelf_window)" 800 200 "$name" "$1" "$HOME/$name" "${@:2}" >/dev/null
  expect "$name never shows half-made, and arrives" wait "$watcher"
  expect "$name is whole" cmp -s "$HOME/$name" "$E2E_DESKTOP/$name"
  expect "its temporary folder is gone" eventually 5 no_temporaries
}

drop_promise late.bin S 4 2 1
drop_promise fetched.bin F
