#!/usr/bin/env bash
# Starts Verrabel. With no display it brings up a private X session (Xvfb 1600x1000, openbox,
# D-Bus) with a throw-away home whose Desktop holds a few sample items, saves a screenshot one
# second after start as verrabel-shelf.png, and keeps running until Ctrl-C, then stops
# everything it started.
set -euo pipefail
binary=${1:?usage: run.sh path/to/verrabel}
here=$(cd "$(dirname "$0")" && pwd)

if [[ -n "${DISPLAY:-}" ]]; then
  exec "$binary"
fi

# shellcheck source=scripts/xsession.sh
source "$here/xsession.sh"
state=$(mktemp -d)
trap 'xsession_stop; rm -rf "$state"' EXIT
trap 'exit 130' INT TERM

xsession_start 1600x1000
# A home of this session only: a first launch, so the shelf shows itself, over a Desktop that
# has something on it.
xsession_home "$state"
echo "第三季度的计划，周五前定稿。" >"$HOME/Desktop/会议纪要.txt"
printf '# Notes\n\nBring the charger.\n' >"$HOME/Desktop/notes.md"
mkdir -p "$HOME/Desktop/旅行照片" "$HOME/Desktop/Projects"
head -c 2500000 /dev/urandom >"$HOME/Desktop/旅行照片/海边.jpg"
head -c 48000000 /dev/urandom >"$HOME/Desktop/presentation.mp4"
xsession_launch "$binary"
sleep 1
shot="$PWD/verrabel-shelf.png"
import -window root "$shot"
echo "Verrabel is running on $DISPLAY; screenshot: $shot"
echo "Press Ctrl-C to stop."
wait "$XSESSION_LAST_PID"
