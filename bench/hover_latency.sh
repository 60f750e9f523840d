#!/usr/bin/env bash
# The real binary under Xvfb: from a pointer move to the top centre until the shelf is mapped,
# and from a move away until it is unmapped, over BENCH_TRIALS trials (default 50).
# Usage: bench/hover_latency.sh build-dir
set -euo pipefail
build=${1:?usage: hover_latency.sh build-dir}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/xsession.sh
source "$here/../scripts/xsession.sh"

state=$(mktemp -d)
trap 'xsession_stop; rm -rf "$state"' EXIT

xsession_start 1600x1000
xsession_home "$state" welcomed

xsession_launch "$build/verrabel"
sleep 1
"$build/bench/map_latency" "${BENCH_TRIALS:-50}"
