#!/usr/bin/env bash
# The list at scale, in the real binary under Xvfb: peak memory with the shelf open over a
# Desktop of 0, 1,000, 10,000 and 100,000 items; then the main thread while a script adds 10,000
# files (with some renames and deletions) to a 2,000-item Desktop with the shelf open, timed by
# how long it takes to answer each move of a drag held over the shelf. Beside each figure, the
# one measured before rows were made only for what can be seen.
# Usage: bench/listing_scale.sh build-dir
set -euo pipefail
build=${1:?usage: listing_scale.sh build-dir}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/xsession.sh
source "$here/../scripts/xsession.sh"
# Throw-away homes in memory: this machine's disk discards the blocks of each deleted file, and
# 100,000 of them would take minutes.
[[ -w /dev/shm ]] && export TMPDIR=/dev/shm

# fill COUNT [FIRST]: COUNT small files in the Desktop, named from FIRST on.
fill() {
  /usr/bin/python3 - "$HOME/Desktop" "$1" "${2:-0}" <<'EOF_PY'
import os, sys
folder, count, first = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
for i in range(first, first + count):
    with open(os.path.join(folder, f"文件 {i}.pdf"), "wb") as f:
        f.write(b"x" * (i % 100))
EOF_PY
}
shelf_open() {
  xdotool mousemove 800 3
  sleep 0.3
  xdotool mousemove 800 200
}

declare -A before=([0]=34 [1000]=41 [10000]=73 [100000]=407)
for items in 0 1000 10000 100000; do
  (
    xsession_for_script 1600x1000 welcomed
    fill "$items"
    xsession_launch "$build/verrabel"
    sleep 1
    shelf_open
    sleep $((3 + items / 20000)) # a rescan every two seconds meanwhile
    awk -v items="$items" -v before="${before[$items]}" '
      /VmRSS/ { now = $2 } /VmHWM/ { peak = $2 }
      END { printf "%6d items, shelf open: peak RSS %5.1f MB, now %5.1f MB (before: peak %d MB)\n",
                   items, peak / 1024, now / 1024, before }' "/proc/$XSESSION_LAST_PID/status"
  )
done

xsession_for_script 1600x1000 welcomed
fill 2000
xsession_launch "$build/verrabel"
sleep 1
shelf_open
sleep 2
shelf=$(xwininfo -root -tree | awk '/\("verrabel" "Verrabel"\)/ && /420x350/ {print $1; exit}')
# The storm: 10,000 files in batches of 250, a few renamed and deleted after each, as an
# extraction or a sync client goes.
/usr/bin/python3 - "$HOME/Desktop" <<'EOF_PY' &
import os, sys, time
folder = sys.argv[1]
for batch in range(40):
    for i in range(batch * 250, batch * 250 + 250):
        with open(os.path.join(folder, f"new {i}.txt"), "wb") as f:
            f.write(b"y")
    os.rename(os.path.join(folder, f"new {batch * 250}.txt"), os.path.join(folder, f"renamed {batch}.txt"))
    os.remove(os.path.join(folder, f"new {batch * 250 + 1}.txt"))
    time.sleep(0.3)
EOF_PY
storm=$!
echo "a script adding 10,000 files to 2,000 with the shelf open (before: the shelf took 1,016 ms to go):"
"$build/bench/xdnd_probe" "$shelf" 800 200 13
wait "$storm"
