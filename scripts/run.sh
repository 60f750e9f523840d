#!/usr/bin/env bash
# Starts Verrabel. With no display it brings up a private X session (Xvfb 1600x1000, openbox,
# D-Bus), saves a screenshot one second after start as verrabel-shelf.png, and keeps running
# until Ctrl-C, then stops everything it started.
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
# Settings of this session only, so that it is a first launch and the shelf shows itself.
export XDG_CONFIG_HOME="$state/config" XDG_RUNTIME_DIR="$state/runtime"
mkdir -p -m 700 "$XDG_RUNTIME_DIR"
xsession_launch "$binary"
sleep 1
shot="$PWD/verrabel-shelf.png"
import -window root "$shot"
echo "Verrabel is running on $DISPLAY; screenshot: $shot"
echo "Press Ctrl-C to stop."
wait "$XSESSION_LAST_PID"
