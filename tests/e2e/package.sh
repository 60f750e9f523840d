#!/usr/bin/env bash
# The .deb is clean under lintian, installs on this Debian, puts its files in their XDG and
# Debian places and starts. It installs system-wide, so it runs only when asked:
# VERRABEL_PACKAGE_TEST=1 (CI's throw-away machines).
source "$(dirname "$0")/lib.sh"
if [[ "${VERRABEL_PACKAGE_TEST:-}" != 1 ]]; then
  echo "e2e: package skipped; VERRABEL_PACKAGE_TEST=1 installs the package system-wide" >&2
  exit 77
fi
sudo=()
[[ $(id -u) -eq 0 ]] || sudo=(sudo)

(cd "$E2E_BUILD" && cpack -G DEB >/dev/null)
package=$(ls "$E2E_BUILD"/verrabel_*.deb)
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q "$package" >/dev/null

e2e_begin package
trap 'status=$?; "${sudo[@]}" apt-get purge -y -q verrabel >/dev/null || true; e2e_finish "$status"' EXIT
expect "lintian finds no error and no warning in the package (lintian.txt)" \
  eval 'lintian --fail-on error,warning "$package" >"$E2E_ARTIFACTS/lintian.txt" 2>&1'
for file in /usr/bin/verrabel /usr/share/applications/org.verrabel.Verrabel.desktop \
  /usr/share/icons/hicolor/scalable/apps/verrabel.svg /etc/xdg/autostart/verrabel.desktop \
  /usr/share/metainfo/org.verrabel.Verrabel.metainfo.xml /usr/share/doc/verrabel/copyright \
  /usr/share/doc/verrabel/changelog.gz \
  /usr/share/gnome-shell/extensions/verrabel@verrabel.org/extension.js; do
  expect "the package installs $file" test -e "$file"
done
conffiles=$(dpkg-query -W -f='${Conffiles}' verrabel)
expect "the autostart entry is a conffile, kept across upgrades" \
  test "${conffiles#*/etc/xdg/autostart/verrabel.desktop }" != "$conffiles"
manual=$(MANWIDTH=80 man verrabel 2>/dev/null || true)
expect "man verrabel shows the manual page" test "${manual#*--backend=xwayland}" != "$manual"
expect "the software centres find the installed entry" \
  appstreamcli validate --no-net /usr/share/metainfo/org.verrabel.Verrabel.metainfo.xml
xsession_launch /usr/bin/verrabel
expect "the installed program starts and shows the shelf on its first launch" eventually 5 shelf_mapped
