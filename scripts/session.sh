#!/usr/bin/env bash
# The end-to-end scenarios' kind of session, by hand: Xvfb 1600x1000 with openbox and a D-Bus
# session, a throw-away HOME with an empty Desktop. Runs COMMAND in it, or a shell; whatever was
# started in the session is stopped when that ends.
# Usage: scripts/session.sh [COMMAND...]
#   e.g. scripts/session.sh bash -c 'build/verrabel & sleep 1; xdotool mousemove 800 3; sleep 1;
#        import -window root shot.png'
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=scripts/xsession.sh
source "$here/scripts/xsession.sh"
xsession_for_script 1600x1000
echo "session: DISPLAY=$DISPLAY HOME=$HOME" >&2
if (($#)); then
  "$@"
else
  bash -i
fi
