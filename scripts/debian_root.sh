#!/usr/bin/env bash
# The whole suite (unit, widget and every end-to-end scenario) on a newer Debian release, in a
# root made here with debootstrap from the Debian mirror this machine's apt uses, and kept for the
# next run. Everything is mounted inside a private mount namespace, so nothing stays mounted
# afterwards.
# Usage: scripts/debian_root.sh RELEASE [ctest arguments...]
#        VERRABEL_BENCH=1 scripts/debian_root.sh RELEASE [bench command...]   the benchmarks instead
#   RELEASE                 debian13 (trixie) or forky (testing)
#   VERRABEL_ROOTS          where the roots live (default /var/tmp), as verrabel-RELEASE
#   WERROR, JOBS            as for make
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/.." && pwd)
release=${1:-}
case $release in
  debian13) suite=trixie ;;
  forky) suite=forky ;;
  *) echo "debian_root: RELEASE is debian13 or forky, not '$release'" >&2 && exit 2 ;;
esac
shift
root=${VERRABEL_ROOTS:-/var/tmp}/verrabel-$release
build=build-$release

if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "$release: needs root or sudo" >&2; exit 1; }
  exec sudo --preserve-env=VERRABEL_ROOTS,VERRABEL_PACKAGE_TEST,VERRABEL_BENCH,CI,WERROR,JOBS "$0" "$release" "$@"
fi

# The Debian archive among this machine's apt sources (deb822 or one-line): a "deb" source over
# http(s) for a Debian suite with "main", security archives aside.
debian_mirror() {
  local file
  for file in /etc/apt/sources.list.d/*.sources; do
    [[ -f $file ]] || continue
    awk 'BEGIN { RS = ""; FS = "\n" }
         { uris = ""; suites = ""; types = ""; components = ""; enabled = "yes"
           for (i = 1; i <= NF; i++) {
             if ($i ~ /^URIs:/) uris = $i
             if ($i ~ /^Suites:/) suites = $i
             if ($i ~ /^Types:/) types = $i
             if ($i ~ /^Components:/) components = $i
             if ($i ~ /^Enabled:[ \t]*no/) enabled = "no"
           }
           sub(/^URIs:[ \t]*/, "", uris); split(uris, u, /[ \t]+/)
           if (enabled == "yes" && types ~ /[ \t]deb([ \t]|$)/ && components ~ /[ \t]main([ \t]|$)/ &&
               suites ~ /(bookworm|trixie|forky|stable|testing|sid)/ && suites !~ /security/ &&
               u[1] ~ /^https?:\/\//) { print u[1]; exit } }' "$file"
  done
  cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
    awk '$1 == "deb" && $0 !~ /security/ && / main/ { for (i = 2; i <= NF; i++) if ($i ~ /^https?:\/\//) { print $i; exit } }'
  return 0
}

# The root is ours only with our mark in it: never remove anything else.
if [[ ! -e $root/.verrabel-ready ]]; then
  "$source_dir/scripts/setup.sh" debian_root
  mirror=$(debian_mirror | sed -n 1p)
  [[ -n $mirror ]] || { echo "$release: no Debian mirror in this machine's apt sources" >&2; exit 1; }
  if [[ -e $root ]]; then
    [[ -e $root/.verrabel-root ]] ||
      { echo "$release: $root exists and is not a root of ours; not touching it" >&2; exit 1; }
    rm -rf --one-file-system "$root"
  fi
  echo "$release: making a Debian $suite root in $root from $mirror"
  mkdir -p "$root"
  touch "$root/.verrabel-root"
  # Testing's name is newer than some debootstraps (1.0.128 has no forky): sid's script makes it
  # all the same.
  script=/usr/share/debootstrap/scripts/$suite
  [[ -e $script ]] || script=/usr/share/debootstrap/scripts/sid
  # debootstrap mounts /proc and /sys in the root while it works: in a namespace of its own,
  # they go with it, also when it is stopped half-way.
  unshare --mount --propagation private \
    debootstrap --variant=minbase "$suite" "$root" "$mirror" "$script" >"$root.log" 2>&1 ||
    { tail -n 20 "$root.log" >&2; exit 1; }
  # Testing's Release file may be past its Valid-Until date between two updates of the mirror.
  echo 'Acquire::Check-Valid-Until "false";' >"$root/etc/apt/apt.conf.d/99verrabel-valid-until"
  touch "$root/.verrabel-ready"
fi
# A symbolic link there could point into the host.
cp --remove-destination /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true

# Inside: the checkout at the same path, /tmp shared so that X display numbers stay apart from the host's, and a
# writable /dev/shm for wlroots.
inside=$(
  cat <<EOF_INSIDE
set -euo pipefail
mount --bind /proc "$root/proc"
mount --rbind /sys "$root/sys"
mount --rbind /dev "$root/dev"
mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
mount --bind /tmp "$root/tmp"
mkdir -p "$root$source_dir"
mount --bind "$source_dir" "$root$source_dir"
exec chroot "$root" /usr/bin/env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
  HOME=/root LANG=C.UTF-8 TERM=dumb CI="${CI:-}" VERRABEL_PACKAGE_TEST="${VERRABEL_PACKAGE_TEST:-}" \
  VERRABEL_BENCH="${VERRABEL_BENCH:-}" BENCH_TRIALS="${BENCH_TRIALS:-}" BENCH_SECONDS="${BENCH_SECONDS:-}" \
  /bin/bash "$source_dir/scripts/debian_root_suite.sh" "$release" "$source_dir" "$build" "${WERROR:-ON}" "${JOBS:-2}" $(printf '%q ' "$@")
EOF_INSIDE
)
status=0
unshare --mount --propagation private /bin/bash -c "$inside" || status=$?
# What the build made in the checkout belongs to whoever asked for it through sudo.
[[ -z ${SUDO_UID:-} ]] || chown -R "$SUDO_UID:${SUDO_GID:-$SUDO_UID}" "$source_dir/$build" 2>/dev/null || true
exit "$status"
