#!/usr/bin/env bash
# The first launch shows the shelf once; a second launch does not.
source "$(dirname "$0")/lib.sh"
e2e_begin first_launch

e2e_launch
expect "the first launch shows the shelf at the top centre" eventually 3 shelf_at 590 25
screenshot welcome
xdotool mousemove 100 900
expect "the welcome's shelf goes a little over two seconds later" eventually 5 shelf_hidden
expect "the welcome is remembered" grep -q 'didWelcome=true' "$XDG_CONFIG_HOME/Verrabel/Verrabel.conf"

kill "$E2E_APP"
wait "$E2E_APP" || true
e2e_launch
sleep 2
expect "a second launch keeps the shelf hidden" shelf_hidden
expect "and runs" kill -0 "$E2E_APP"
