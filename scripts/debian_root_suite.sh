#!/usr/bin/env bash
# Inside a Debian root (scripts/debian_root.sh): installs through setup.sh, builds, says what it
# tests against, runs the suite, or with VERRABEL_BENCH=1 the benchmarks (bench/run.sh, or the
# one command given, run from the checkout).
# Usage: debian_root_suite.sh RELEASE SOURCE BUILD WERROR JOBS [ctest arguments... | bench command...]
set -euo pipefail
release=$1 source_dir=$2 build=$3 werror=$4 jobs=$5
shift 5
cd "$source_dir"
benchmarks=OFF
[[ ${VERRABEL_BENCH:-} != 1 ]] || { benchmarks=ON && build=$build-bench; }
scripts/setup.sh build desktop e2e package
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVERRABEL_WERROR="$werror" \
  -DVERRABEL_BENCHMARKS=$benchmarks >/dev/null
cmake --build "$build" -j"$jobs"

version() { dpkg-query -W -f='${Version}' "$1" 2>/dev/null || echo none; }
. /etc/os-release
echo "$release: $PRETTY_NAME; Qt $(version qt6-base-dev), GNOME Shell $(version gnome-shell)," \
  "KWin $(version kwin-wayland), sway $(version sway), labwc $(version labwc)," \
  "Xwayland $(version xwayland), nautilus $(version nautilus), layer-shell-qt" \
  "$(version liblayershellqtinterface-dev), GCC $(version g++)"
if [[ $benchmarks == ON ]]; then
  if (($#)); then exec "$@"; else exec bench/run.sh "$build"; fi
fi
cd "$build"
ctest --output-on-failure -j"$jobs" "$@"
