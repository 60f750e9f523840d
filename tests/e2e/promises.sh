#!/usr/bin/env bash
# Promised files from the tests' own source, on an X server without the X-Resource extension
# (some remote and nested servers), so that the source's process is unknown: each lands whole,
# never shown half-made, counted saved and its temporary folder gone. The source answers only
# after writing in bursts with pauses; leaves the writing to us and gives up its selection as the
# drop ends; or has a helper reserve the name and rename the finished file over it.
source "$(dirname "$0")/lib.sh"
XSESSION_XVFB_ARGS="-extension X-Resource" e2e_begin promises welcomed

export TMPDIR="$HOME/tmp"
mkdir -p "$TMPDIR"
expect "the X server has no X-Resource" bash -c '! xdpyinfo | grep -q X-Resource'
# The result of each drop is read back as a screen reader meets it.
unset NO_AT_BRIDGE
dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress >/dev/null
e2e_launch QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
sleep 1
drop_promise late.bin S 4 2 1
drop_promise fetched.bin F
drop_promise reserved.bin R 4 0.8
