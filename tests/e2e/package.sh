#!/usr/bin/env bash
# The .deb installs on this Debian, puts its files in their XDG places and starts. It installs
# system-wide, so it runs only when asked: VERRABEL_PACKAGE_TEST=1 (CI's throw-away machines).
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
for file in /usr/bin/verrabel /usr/share/applications/org.verrabel.Verrabel.desktop \
  /usr/share/icons/hicolor/scalable/apps/verrabel.svg /etc/xdg/autostart/verrabel.desktop; do
  expect "the package installs $file" test -e "$file"
done
xsession_launch /usr/bin/verrabel
expect "the installed program starts and shows the shelf on its first launch" eventually 5 shelf_mapped
