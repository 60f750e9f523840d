#!/usr/bin/env bash
# Runs every benchmark against a build directory and prints the figures.
# Usage: bench/run.sh [build-dir]
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)

"$build/bench/tick_bench" --benchmark_min_time=0.5
"$build/bench/listing_bench"
"$here/listing_scale.sh" "$build"
"$here/thumbnail_scale.sh" "$build"
"$here/hostile_images.sh" "$build"
for session in x11 gnome-shell sway sway-native; do
  "$here/hover_latency.sh" "$build" "$session"
done
"$here/promise_gap.sh" "$build"
for session in x11 gnome-shell sway sway-native kwin-native; do
  "$here/idle_cpu.sh" "$build" "$session"
done
"$here/copy_speed.sh" "$build"
