#!/usr/bin/env bash
# The main thread while a promised file comes in: the real binary under Xvfb takes a drop from
# the tests' own source, which answers only after writing for 4 s; meanwhile a second drag over
# the shelf times how long the main thread takes to answer each of its moves, and the source
# times how long the drop itself held the main thread.
# Usage: bench/promise_gap.sh build-dir [verrabel-binary]
set -euo pipefail
build=${1:?usage: promise_gap.sh build-dir [verrabel-binary]}
binary=${2:-$build/verrabel}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/xsession.sh
source "$here/../scripts/xsession.sh"

xsession_for_script 1600x1000 welcomed
xsession_launch "$binary"
sleep 1
xdotool mousemove 800 3
sleep 0.5
xdotool mousemove 800 200
sleep 0.5
shelf=$(xwininfo -root -tree | awk '/\("verrabel" "Verrabel"\)/ && /420x350/ {print $1; exit}')
head -c 1000000 /dev/urandom >"$HOME/promised.bin"

coproc source { /usr/bin/python3 "$here/../tests/e2e/xds_source.py" "$shelf" 800 200 promised.bin S "$HOME/promised.bin" 3 1.5 1; }
exec {from_source}<&"${source[0]}"
read -r _ <&"$from_source" # dropped
echo "promise answered after 4 s of writing:"
"$build/bench/xdnd_probe" "$shelf" 800 200 5
cat <&"$from_source"
