#!/usr/bin/env bash
# An entry dragged out of an archive in engrampa, which writes it only after the drop, lands on
# the Desktop; the temporary folder is gone afterwards.
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
