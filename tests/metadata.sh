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
# Succeeds, and says nothing on its standard error.
without_warnings() {
  local said
  said=$("$@" 2>&1 >/dev/null) && [[ -z $said ]]
}

resources=$source_dir/resources
check "the menu and autostart entries are valid" \
  desktop-file-validate "$resources/org.verrabel.Verrabel.desktop" "$resources/verrabel-autostart.desktop"
check "the software-centre entry is valid" \
  appstreamcli validate --no-net "$resources/org.verrabel.Verrabel.metainfo.xml"
check "the manual page renders without a warning" \
  without_warnings env LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l "$resources/verrabel.1"
# first_line_has FILE PATTERN TEXT: the first line of FILE that matches PATTERN holds TEXT.
first_line_has() { grep -m1 -e "$2" "$1" | grep -qF -- "$3"; }
check "the changelog's latest entry is $version" \
  first_line_has "$source_dir/packaging/changelog" '^verrabel (' "verrabel ($version) "
check "the software-centre entry's latest release is $version" \
  first_line_has "$resources/org.verrabel.Verrabel.metainfo.xml" '<release ' "version=\"$version\""
check "the manual page is of $version" first_line_has "$resources/verrabel.1" '^\.TH ' "\"Verrabel $version\""
exit $failed
