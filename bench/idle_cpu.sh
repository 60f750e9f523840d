#!/usr/bin/env bash
# Verrabel's cost while it waits: the real binary under Xvfb, collapsed, pointer parked away
# from the top centre, for BENCH_SECONDS (default 60). Reports the CPU share of one core
# (all threads' run time from /proc/PID/task/*/schedstat, in nanoseconds) and the peak
# resident memory (VmHWM).
# Usage: bench/idle_cpu.sh path/to/verrabel
set -euo pipefail
binary=${1:?usage: idle_cpu.sh path/to/verrabel}
seconds=${BENCH_SECONDS:-60}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/xsession.sh
source "$here/../scripts/xsession.sh"

xsession_for_script 1600x1000 welcomed
xdotool mousemove 100 900

xsession_launch "$binary"
app=$XSESSION_LAST_PID
sleep 2 # start-up is not idling

cpu_ns() { cat /proc/"$app"/task/*/schedstat | awk '{sum += $1} END {print sum}'; }
start_ns=$(cpu_ns)
start_time=$(date +%s.%N)
sleep "$seconds"
end_ns=$(cpu_ns)
end_time=$(date +%s.%N)
peak_kb=$(awk '/VmHWM/ {print $2}' "/proc/$app/status")

awk -v t0="$start_ns" -v t1="$end_ns" -v s0="$start_time" -v s1="$end_time" \
    -v kb="$peak_kb" 'BEGIN {
  cpu = (t1 - t0) / 1e9 / (s1 - s0) * 100
  printf "idle collapsed for %.0f s: CPU %.3f%% of one core (target <= 0.3%%), peak RSS %.1f MB (target <= 50 MB)\n",
         s1 - s0, cpu, kb / 1024
}'
