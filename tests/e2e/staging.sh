#!/usr/bin/env bash
# Promised files are staged on the Desktop's own file system, never in the temporary folder: a
# 120 MB entry dragged out of an archive in engrampa lands whole with Verrabel's temporary folder
# on a 64 MB memory file system. Dragged again onto a Verrabel whose Desktop is a 64 MB memory
# file system, nothing of it is published and its staging folder goes: where engrampa writes
# until the disk is full, the alert names it with the reason; newer engrampa measures the room
# first, says so itself and nothing to Verrabel, whose alert then says that nothing came.
# The memory file systems are mounted in a mount namespace of the scenario's own: root only.
[[ $(id -u) == 0 ]] || { echo "e2e: staging skipped: it mounts file systems, which wants root"; exit 77; }
# In a chroot "/" is no mount point to make private; the chroot's own namespace already is.
[[ -n ${STAGING_NAMESPACE:-} ]] ||
  exec env STAGING_NAMESPACE=1 unshare --mount --propagation unchanged \
    bash -c 'mount --make-rprivate / 2>/dev/null; exec bash "$0" "$@"' "$0" "$@"
source "$(dirname "$0")/lib.sh"
e2e_begin staging welcomed

export TMPDIR="$HOME/tmp"
mkdir -p "$TMPDIR" "$HOME/small" "$HOME/big"
mount -t tmpfs -o size=64m tmpfs "$HOME/small"
head -c 120000000 /dev/urandom >"$HOME/big/big.bin"
(cd "$HOME/big" && tar -cf ../big.tar big.bin)
xsession_launch engrampa "$HOME/big.tar"
place_window '^big.tar' 100 450 700 450
unset NO_AT_BRIDGE
dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress >/dev/null
e2e_launch QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 TMPDIR="$HOME/small"
sleep 1

drag_via 160 617 800 5 800 200
expect "the entry lands on the Desktop, whole" eventually 20 cmp -s "$HOME/big/big.bin" "$E2E_DESKTOP/big.bin"
expect "its staging folder is gone" eventually 5 no_temporaries
expect "the result counts it saved" eventually 5 reads "已存到桌面 · 1 个项目"

kill "$E2E_APP"
expect "Verrabel quits" eventually 5 process_gone "$E2E_APP"
mount -t tmpfs -o size=64m tmpfs "$E2E_DESKTOP"
e2e_launch QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
sleep 1
glide 800 700
drag_via 160 617 800 5 800 200
told_why() { reads "big.bin：No space left on device" || reads "来源程序在 30 秒内没有送来文件。"; }
expect "with no room for it, the user is told why" eventually 40 told_why
expect "its staging folder goes" eventually 40 no_temporaries
expect "nothing of it is on the Desktop" test -z "$(ls -A "$E2E_DESKTOP")"
