#!/usr/bin/env bash
# 10,000 images on the Desktop, none with a thumbnail yet, in the real binary under Xvfb: from the
# pointer at the top centre to the shelf shown; the main thread's answers while the wheel scrolls
# the open list through them; how long after the scrolling stops every row in full view shows its
# thumbnail; and the peak memory.
# Usage: bench/thumbnail_scale.sh build-dir
set -euo pipefail
E2E_BUILD=${1:?usage: thumbnail_scale.sh build-dir}
here=$(cd "$(dirname "$0")" && pwd)
# Throw-away homes in memory: this machine's disk discards the blocks of each deleted file.
[[ -w /dev/shm ]] && export TMPDIR=/dev/shm
# shellcheck source=bench/session.sh
source "$here/session.sh"

bench_session x11
# Square images of distinct, saturated colours: a row in view shows a solid square once its
# thumbnail is there, grey before.
/usr/bin/python3 - "$HOME/Desktop" <<'EOF_PY'
import colorsys, os, struct, sys, zlib
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
for i in range(10_000):
    r, g, b = (int(c * 255) for c in colorsys.hsv_to_rgb((i * 0.618) % 1, 1, 1))
    rows = (b"\0" + bytes((r, g, b)) * 96) * 96
    png = (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 96, 96, 8, 2, 0, 0, 0))
           + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))
    with open(os.path.join(sys.argv[1], f"照片 {i:05}.png"), "wb") as f:
        f.write(png)
EOF_PY
bench_launch
sleep 2
echo "10,000 images, pointer at the top centre to the shelf shown:"
"$E2E_BUILD/bench/map_latency" 20 800 | sed 's/^/  /'

# Open, pointer over the list.
xdotool mousemove 800 0
sleep 0.3
xdotool mousemove 800 200
eventually 5 shelf_mapped
sleep 1.5
shelf=$(shelf_window)
"$E2E_BUILD/bench/xdnd_probe" "$shelf" 800 200 11 | sed 's/^/  while scrolling, /' &
probe=$!
sleep 0.5
# One process clicks the wheel: a program started for every click would load the two cores more
# than the scrolling does.
/usr/bin/python3 - <<'EOF_PY'
import time
from Xlib import X, display
from Xlib.ext import xtest
d = display.Display()
for _ in range(100):
    xtest.fake_input(d, X.ButtonPress, 5)
    xtest.fake_input(d, X.ButtonRelease, 5)
    d.sync()
    time.sleep(0.1)
EOF_PY
scrolled=$(date +%s%N)

# in_view_shown: every row wholly in view shows a solid square; a grey run longer than the gap
# between two thumbnails means a row still without one.
in_view_shown() {
  /usr/bin/python3 - <<'EOF_PY'
import colorsys, sys
from Xlib import X, display
screen = display.Display().screen()
top, bottom = 96 + 54, 326 - 54
data = screen.root.get_image(630, top, 1, bottom - top, X.ZPixmap, 0xFFFFFFFF).data
run = longest = 0
for y in range(bottom - top):
    b, g, r = data[4 * y], data[4 * y + 1], data[4 * y + 2]
    grey = colorsys.rgb_to_hsv(r / 255, g / 255, b / 255)[1] < 0.5
    run = run + 1 if grey else 0
    longest = max(longest, run)
sys.exit(0 if longest <= 26 else 1)
EOF_PY
}
until in_view_shown; do
  (($(date +%s%N) - scrolled < 10000000000)) || { echo "  thumbnails in view: not within 10 s" && break; }
done
in_view_shown && echo "  thumbnails in view $((($(date +%s%N) - scrolled) / 1000000)) ms after the scrolling stopped"
wait "$probe"
awk '/VmHWM/ { printf "  peak memory %.1f MB\n", $2 / 1024 }' "/proc/$BENCH_APP/status"
