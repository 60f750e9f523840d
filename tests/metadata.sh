#!/usr/bin/env bash
# The files that describe Verrabel to desktops, software centres and man pass their own
# validators, and all name the version being built.
# Usage: metadata.sh SOURCE_DIR VERSION
set -uo pipefail
source_dir=$1 version=$2
failed=0
check() {
  local what=$1
  shift
  if output=$("$@" 2>&1); then
    echo "ok: $what"
  else
    echo "FAILED: $what"$'\n'"$output"
    failed=1
  fi
}
without_warnings() { ! "$@" 2>&1 >/dev/null | grep .; }

resources=$source_dir/resources
check "the menu and autostart entries are valid" \
  desktop-file-validate "$resources/org.verrabel.Verrabel.desktop" "$resources/verrabel-autostart.desktop"
check "the software-centre entry is valid" \
  appstreamcli validate --no-net "$resources/org.verrabel.Verrabel.metainfo.xml"
check "the manual page renders without a warning" \
  without_warnings env LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l "$resources/verrabel.1"
check "the changelog's latest entry is $version" \
  grep -q "^verrabel ($version) " "$source_dir/packaging/changelog"
check "the software-centre entry's latest release is $version" \
  grep -q -m1 "<release version=\"$version\"" "$resources/org.verrabel.Verrabel.metainfo.xml"
check "the manual page is of $version" grep -q "^\.TH .*\"Verrabel $version\"" "$resources/verrabel.1"
exit $failed
