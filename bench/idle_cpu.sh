#!/usr/bin/env bash
# Verrabel's cost while it waits: the real binary in a private session, collapsed, pointer parked
# away from the top centre, for BENCH_SECONDS (default 60). Reports the CPU share of one core
# (all threads' run time from /proc/PID/task/*/schedstat, in nanoseconds) and the peak resident
# memory (VmHWM).
# Usage: bench/idle_cpu.sh build-dir [x11|gnome-shell|sway|sway-native|kwin-native]
set -euo pipefail
E2E_BUILD=${1:?usage: idle_cpu.sh build-dir [x11|gnome-shell]}
seconds=${BENCH_SECONDS:-60}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=bench/session.sh
source "$here/session.sh"

if [[ ${2:-} == *-native ]] && ! bench_has_layer_shell; then
  echo "$2: skipped, this build has no layer-shell backend"
  exit 0
fi
bench_session "${2:-x11}"
DISPLAY=$BENCH_POINTER xdotool mousemove 100 900
bench_launch
sleep 2 # start-up is not idling

cpu_ns() { cat /proc/"$BENCH_APP"/task/*/schedstat | awk '{sum += $1} END {print sum}'; }
start_ns=$(cpu_ns)
start_time=$(date +%s.%N)
sleep "$seconds"
end_ns=$(cpu_ns)
end_time=$(date +%s.%N)
peak_kb=$(awk '/VmHWM/ {print $2}' "/proc/$BENCH_APP/status")

awk -v t0="$start_ns" -v t1="$end_ns" -v s0="$start_time" -v s1="$end_time" \
    -v kb="$peak_kb" -v session="${2:-x11}" 'BEGIN {
  cpu = (t1 - t0) / 1e9 / (s1 - s0) * 100
  printf "%s: idle collapsed for %.0f s: CPU %.3f%% of one core, peak RSS %.1f MB\n",
         session, s1 - s0, cpu, kb / 1024
}'
