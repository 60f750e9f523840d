#!/usr/bin/env bash
# The list at scale, in the real binary under Xvfb: peak memory with the shelf open over a
# Desktop of 0, 1,000, 10,000 and 100,000 items; then the main thread while a script adds 10,000
# files (with some renames and deletions) to a 2,000-item Desktop with the shelf open, timed by
# how long it takes to answer each move of a drag held over the shelf. With an earlier binary,
# the same for it beside; without one, the memory measured before rows were made only for what
# can be seen.
# Usage: bench/listing_scale.sh build-dir [earlier-verrabel-binary]
set -euo pipefail
build=${1:?usage: listing_scale.sh build-dir [earlier-verrabel-binary]}
earlier=${2:-}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/xsession.sh
source "$here/../scripts/xsession.sh"
# Throw-away homes in memory: this machine's disk discards the blocks of each deleted file, and
# 100,000 of them would take minutes.
[[ -w /dev/shm ]] && export TMPDIR=/dev/shm

# fill COUNT: COUNT small files in the Desktop.
fill() {
  /usr/bin/python3 - "$HOME/Desktop" "$1" <<'EOF_PY'
import os, sys
folder, count = sys.argv[1], int(sys.argv[2])
for i in range(count):
    with open(os.path.join(folder, f"文件 {i}.pdf"), "wb") as f:
        f.write(b"x" * (i % 100))
EOF_PY
}
# open_shelf BINARY ITEMS: a session whose Desktop holds ITEMS files, BINARY started in it with
# the shelf down; its window in `shelf`.
open_shelf() {
  xsession_for_script 1600x1000 welcomed
  fill "$2"
  xsession_launch "$1"
  sleep 1
  xdotool mousemove 800 3
  sleep 0.3
  xdotool mousemove 800 200
  shelf_down() {
    shelf=$(xwininfo -root -tree | awk '/\("verrabel" "Verrabel"\)/ && /420x350/ {print $1; exit}')
    [[ -n $shelf ]]
  }
  eventually 10 shelf_down || { echo "listing_scale: the shelf did not come down" >&2 && exit 1; }
}
# peak BINARY ITEMS: peak and current RSS with the shelf open, in MB.
peak() {
  (
    open_shelf "$1" "$2"
    sleep $((3 + $2 / 20000)) # a rescan every two seconds meanwhile
    awk '/VmRSS/ { now = $2 } /VmHWM/ { peak = $2 }
         END { printf "peak %5.1f MB, now %5.1f MB", peak / 1024, now / 1024 }' \
      "/proc/$XSESSION_LAST_PID/status"
  )
}
# storm BINARY: the main thread's answers while a script adds 10,000 files in batches of 250, a
# few renamed and deleted after each, as an extraction or a sync client goes.
storm() {
  (
    open_shelf "$1" 2000
    sleep 2
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
    local script=$!
    "$build/bench/xdnd_probe" "$shelf" 800 200 13
    wait "$script"
  )
}

declare -A before=([0]=34 [1000]=41 [10000]=73 [100000]=407)
for items in 0 1000 10000 100000; do
  printf '%6d items, shelf open: %s' "$items" "$(peak "$build/verrabel" "$items")"
  if [[ -n $earlier ]]; then
    printf '; earlier binary: %s\n' "$(peak "$earlier" "$items")"
  else
    printf ' (before: peak %d MB)\n' "${before[$items]}"
  fi
done

echo "a script adding 10,000 files to 2,000 with the shelf open:"
printf '  now:     %s\n' "$(storm "$build/verrabel")"
[[ -z $earlier ]] || printf '  earlier: %s\n' "$(storm "$earlier")"
