#!/usr/bin/env bash
# The real binary in a private session: from a pointer move to the top centre until the shelf is
# mapped, and from a move away until it is unmapped, over BENCH_TRIALS trials (default 50).
# Usage: bench/hover_latency.sh build-dir [x11|gnome-shell]
set -euo pipefail
E2E_BUILD=${1:?usage: hover_latency.sh build-dir [x11|gnome-shell]}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=bench/session.sh
source "$here/session.sh"

bench_session "${2:-x11}"
bench_launch
sleep 1
echo "${2:-x11}:"
[[ $BENCH_POINTER == "$DISPLAY" ]] || export POINTER_DISPLAY=$BENCH_POINTER
# From rest (the timer napping), and on the move (the pointer moved 0.4 s before).
for rest in 800 400; do
  "$E2E_BUILD/bench/map_latency" "${BENCH_TRIALS:-50}" "$rest"
done
