#!/usr/bin/env bash
# Drawings that are gzip inside and inflate far beyond their size (256 KB to 256 MB, 1 MB to
# 1 GB) beside ordinary photos on the Desktop, in the real binary under Xvfb: the peak memory
# once the shelf has asked for every row's thumbnail, whether the photos got theirs, and how long
# Quit takes.
# Usage: bench/hostile_images.sh build-dir
set -euo pipefail
E2E_BUILD=${1:?usage: hostile_images.sh build-dir}
here=$(cd "$(dirname "$0")" && pwd)
[[ -w /dev/shm ]] && export TMPDIR=/dev/shm
# shellcheck source=bench/session.sh
source "$here/session.sh"

bench_session x11
/usr/bin/python3 - "$HOME/Desktop" <<'EOF_PY'
import gzip, os, sys
head = b"<svg xmlns='http://www.w3.org/2000/svg' width='64' height='64'><!--"
for name, inflated in (("a 256 KB drawing.svg", 256 << 20), ("b 1 MB drawing.svg", 1 << 30)):
    with gzip.open(os.path.join(sys.argv[1], name), "wb", compresslevel=9) as f:
        f.write(head)
        for _ in range(inflated >> 20):
            f.write(b" " * (1 << 20))
        f.write(b"--></svg>")
EOF_PY
for i in 1 2 3; do convert -size 300x200 "xc:rgb($((i * 80)),40,200)" "$HOME/Desktop/c photo $i.png"; done
du -k "$HOME/Desktop"/* | sed 's|^|  KB: |'
bench_launch
sleep 1
xdotool mousemove 800 0
eventually 5 shelf_mapped
xdotool mousemove 800 200
sleep 8
awk '/VmHWM/ { printf "  peak memory %.1f MB\n", $2 / 1024 }' "/proc/$BENCH_APP/status"
made=$(find "${XDG_CACHE_HOME:-$HOME/.cache}/thumbnails" -path "*/fail/*" -prune -o -name "*.png" -print 2>/dev/null | wc -l || true)
echo "  thumbnails made for the 3 photos: $made"
tray_host bottom
eventually 8 tray_docked
open_menu
started=$(date +%s%N)
xdotool key ctrl+q
eventually 10 process_gone "$BENCH_APP"
echo "  Quit to the process gone: $((($(date +%s%N) - started) / 1000000)) ms"
