#!/usr/bin/env bash
# The real binary in a private session: from a pointer move to the top centre until the shelf is
# mapped, and from a move away until it is unmapped, over BENCH_TRIALS trials (default 50). Under
# sway, on Xwayland and natively, until it is on screen and off again instead, which both can
# be timed by.
# Usage: bench/hover_latency.sh build-dir [x11|gnome-shell|sway|sway-native]
set -euo pipefail
E2E_BUILD=${1:?usage: hover_latency.sh build-dir [x11|gnome-shell]}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=bench/session.sh
source "$here/session.sh"

kind=${2:-x11}
if [[ $kind == sway-native ]] && ! bench_has_layer_shell; then
  echo "$kind: skipped, this build has no layer-shell backend"
  exit 0
fi
bench_session "$kind"
bench_launch
sleep 1
echo "$kind:"
[[ $BENCH_POINTER == "$DISPLAY" ]] || export POINTER_DISPLAY=$BENCH_POINTER
# From rest (the timer napping), and on the move (the pointer moved 0.4 s before).
for rest in 800 400; do
  if [[ $kind == sway* ]]; then
    env -u POINTER_DISPLAY DISPLAY="$BENCH_POINTER" "$E2E_BUILD/bench/map_latency" "${BENCH_TRIALS:-50}" "$rest" paint
  else
    "$E2E_BUILD/bench/map_latency" "${BENCH_TRIALS:-50}" "$rest"
  fi
done
