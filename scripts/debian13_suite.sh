#!/usr/bin/env bash
# Inside the Debian 13 root (scripts/debian13.sh): installs through setup.sh, builds, says what
# it tests against, runs the suite.
# Usage: debian13_suite.sh SOURCE BUILD WERROR JOBS [ctest arguments...]
set -euo pipefail
source_dir=$1 build=$2 werror=$3 jobs=$4
shift 4
cd "$source_dir"
scripts/setup.sh build desktop e2e package
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVERRABEL_WERROR="$werror" \
  -DVERRABEL_BENCHMARKS=OFF >/dev/null
cmake --build "$build" -j"$jobs"

version() { dpkg-query -W -f='${Version}' "$1" 2>/dev/null || echo none; }
. /etc/os-release
echo "debian13: $PRETTY_NAME; Qt $(version qt6-base-dev), GNOME Shell $(version gnome-shell)," \
  "KWin $(version kwin-wayland), sway $(version sway), Xwayland $(version xwayland)," \
  "GCC $(version g++)"
cd "$build"
ctest --output-on-failure -j"$jobs" "$@"
