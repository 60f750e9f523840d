#!/usr/bin/env bash
# The pointer at the top centre brings the shelf down; away, it goes after a moment; near
# the panel's edges it stays.
source "$(dirname "$0")/lib.sh"
e2e_begin hover welcomed
xdotool mousemove 100 900
e2e_launch
sleep 1.5
expect "collapsed after start" shelf_hidden

xdotool mousemove 800 0
expect "the pointer thrown against the top centre brings the shelf down" eventually 1 shelf_at 590 25
xdotool mousemove 100 900
expect "away from it, it goes" eventually 1 shelf_hidden

xdotool mousemove 800 3
expect "down again" eventually 1 shelf_mapped
# The panel covers x 590..1009, y 25..374; 12 points around it keep it open.
for point in "800 200" "581 200" "1018 200" "800 384" "583 383"; do
  # shellcheck disable=SC2086
  xdotool mousemove $point
  sleep 0.5
  expect "it stays with the pointer at $point" shelf_mapped
done
xdotool mousemove 800 395
expect "further off, it goes" eventually 1 shelf_hidden
