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
cleanup() {
  set +e
  [[ -n "${app:-}" ]] && kill "$app" 2>/dev/null && wait "$app" 2>/dev/null
  xsession_stop
  rm -rf "$state"
}
trap cleanup EXIT

xsession_start 1600x1000
export HOME="$state" XDG_CONFIG_HOME="$state/config" XDG_RUNTIME_DIR="$state/runtime"
mkdir -p "$HOME/Desktop" "$XDG_CONFIG_HOME/Verrabel" && mkdir -m 700 "$XDG_RUNTIME_DIR"
printf '[General]\ndidWelcome=true\n' >"$XDG_CONFIG_HOME/Verrabel/Verrabel.conf"

"$build/verrabel" 2>/dev/null &
app=$!
sleep 1
"$build/bench/map_latency" "${BENCH_TRIALS:-50}"
