#!/usr/bin/env bash
# Sandboxed applications give and take files through the document portal (started on the
# session's own bus): a drop that offers only a transfer key lands on the Desktop, and a row
# dragged into a target that asks only for a key gets one that the portal turns into a file it
# can read.
source "$(dirname "$0")/lib.sh"
e2e_begin sandboxed welcomed

portal_drag() { /usr/bin/python3 "$E2E_SOURCE/tests/e2e/portal_drag.py" "$@"; }
mkdir -p "$HOME/sandbox"
head -c 200000 /dev/urandom >"$HOME/sandbox/from a sandbox.bin"
echo "a note" >"$E2E_DESKTOP/note.txt"
e2e_launch
expect "the shelf comes down" bring_shelf_down
xdotool mousemove 800 200
expect "a drop that offers only a transfer key is taken" \
  portal_drag source "$(shelf_window)" 800 200 "$HOME/sandbox/from a sandbox.bin"
expect "its file lands on the Desktop, whole" eventually 5 \
  cmp -s "$HOME/sandbox/from a sandbox.bin" "$E2E_DESKTOP/from a sandbox.bin"

portal_drag target 150 650 >"$E2E_ARTIFACTS/target.log" &
target=$!
ready() { grep -qx ready "$E2E_ARTIFACTS/target.log"; }
expect "the sandboxed target is up" eventually 5 ready
glide 800 600
expect "the shelf goes" eventually 3 shelf_hidden
expect "the shelf comes down again" bring_shelf_down
# The rows: "from a sandbox.bin", "note.txt".
drag "$FIRST_ROW_X" $(($(first_row_y) + 54)) 300 750
wait "$target" || true
expect "a row dragged into a sandboxed target reaches it by a transfer key" \
  grep -qxF "$E2E_DESKTOP/note.txt readable" "$E2E_ARTIFACTS/target.log"
