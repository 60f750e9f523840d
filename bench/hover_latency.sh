#!/usr/bin/env bash
# The real binary under Xvfb: from a pointer move to the top centre until the shelf is mapped,
# and from a move away until it is unmapped, over BENCH_TRIALS trials (default 50).
# Usage: bench/hover_latency.sh build-dir
set -euo pipefail
build=${1:?usage: hover_latency.sh build-dir}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/xsession.sh
source "$here/../scripts/xsession.sh"

xsession_for_script 1600x1000 welcomed

xsession_launch "$build/verrabel"
sleep 1
"$build/bench/map_latency" "${BENCH_TRIALS:-50}"
