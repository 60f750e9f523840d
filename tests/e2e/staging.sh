#!/usr/bin/env bash
# Promised files are staged on the Desktop's own file system, never in the temporary folder: a
# 120 MB entry dragged out of an archive in engrampa lands whole with the temporary folder on a
# 64 MB memory file system. Dragged again, with the Desktop too full for a second copy, nothing
# of it is published, its staging folder goes, and the alert names it with the reason. The two
# memory file systems are mounted in a mount namespace of the scenario's own: root only.
[[ $(id -u) == 0 ]] || { echo "e2e: staging skipped: it mounts file systems, which wants root"; exit 77; }
[[ -n ${STAGING_NAMESPACE:-} ]] ||
  exec env STAGING_NAMESPACE=1 unshare --mount --propagation private bash "$0" "$@"
source "$(dirname "$0")/lib.sh"
e2e_begin staging welcomed

export TMPDIR="$HOME/tmp"
mkdir -p "$TMPDIR" "$HOME/big"
mount -t tmpfs -o size=64m tmpfs "$TMPDIR"
mount -t tmpfs -o size=200m tmpfs "$E2E_DESKTOP"
head -c 120000000 /dev/urandom >"$HOME/big/big.bin"
(cd "$HOME/big" && tar -cf ../big.tar big.bin)
xsession_launch engrampa "$HOME/big.tar"
place_window '^big.tar' 100 450 700 450
unset NO_AT_BRIDGE
dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress >/dev/null
e2e_launch QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
sleep 1

drag_via 160 617 800 5 800 200
expect "the entry lands on the Desktop, whole" eventually 20 cmp -s "$HOME/big/big.bin" "$E2E_DESKTOP/big.bin"
expect "its staging folder is gone" eventually 5 no_temporaries
expect "the result counts it saved" eventually 5 reads "已存到桌面 · 1 个项目"

glide 800 700
expect "the shelf is up" eventually 2 shelf_hidden
drag_via 160 617 800 5 800 200
expect "with no room for it, the alert names it and says why" \
  eventually 20 reads "big.bin：No space left on device"
expect "nothing of it is on the Desktop" test "$(ls -A "$E2E_DESKTOP")" = big.bin
