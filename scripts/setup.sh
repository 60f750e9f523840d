#!/usr/bin/env bash
# Installs the Debian packages Verrabel needs, and nothing when they are all there.
# Usage: scripts/setup.sh GROUP...   (groups: build, desktop, e2e, package, fuzz, screenshots,
#                                     debian_root)
set -euo pipefail

declare -A groups=(
  [build]="cmake g++ make pkg-config qt6-base-dev qt6-base-dev-tools qt6-svg-dev libqt6svg6
           libgtest-dev libbenchmark-dev zlib1g-dev libxcb1-dev libxcb-record0-dev libxcb-res0-dev libxcb-shape0-dev libxcb-xtest0-dev clang-format fonts-wqy-microhei"
  [desktop]="xvfb xauth openbox dbus-x11 dbus-bin xdotool x11-utils imagemagick fonts-wqy-microhei
             adwaita-icon-theme qt6-translations-l10n xdg-utils qt6-image-formats-plugins"
  [e2e]="pcmanfm thunar engrampa zip bzip2 xdg-desktop-portal x11-xserver-utils at-spi2-core python3-pyatspi
         gir1.2-atspi-2.0 gir1.2-gtk-3.0 python3-gi python3-xlib mutter gnome-shell kwin-wayland nautilus
         xwayland sway waybar pipewire-bin"
  [package]="dpkg-dev file lintian appstream desktop-file-utils man-db"
  [fuzz]="clang libclang-rt-14-dev"
  [screenshots]="qt6-gtk-platformtheme xcompmgr"
  [debian_root]="debootstrap util-linux"
)

# Names that differ between releases. From Debian 13 on, Qt's SVG image plugin is a package of
# its own that nothing pulls in without recommends: without it the tray icon is empty.
. /etc/os-release
if [[ ${VERSION_ID:-} != 12 ]]; then
  groups[build]+=" qt6-svg-plugins"
  # Layer-shell-qt for Qt 6, and Qt's Wayland platform, exist from Debian 13 on: the native
  # Wayland backend is built there. KWin's screen edges come from its protocol's XML through
  # wayland-scanner, on the layer surface Qt's private Wayland window gives.
  groups[build]+=" liblayershellqtinterface-dev libwayland-dev qt6-wayland libwayland-bin
                   plasma-wayland-protocols qt6-base-private-dev"
  # A GTK 4 drop target asks a native drag for its transfer key, as sandboxed applications do.
  groups[e2e]+=" gir1.2-gtk-4.0"
fi
# A tray host: trayer left the archive after Debian 13, stalonetray is there. After 13, labwc
# runs Verrabel natively beside KWin and sway.
if [[ ${VERSION_ID:-} == 12 || ${VERSION_ID:-} == 13 ]]; then
  groups[e2e]+=" trayer"
else
  groups[e2e]+=" stalonetray labwc"
fi

wanted=()
for group in "$@"; do
  [[ -n "${groups[$group]:-}" ]] || { echo "setup: unknown group '$group'" >&2; exit 2; }
  # shellcheck disable=SC2206
  wanted+=(${groups[$group]})
done

missing=()
for pkg in $(printf '%s\n' "${wanted[@]}" | sort -u); do
  status=$(dpkg-query -W -f='${db:Status-Abbrev}' "$pkg" 2>/dev/null || true)
  [[ "$status" == ii* ]] || missing+=("$pkg")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo=()
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "setup: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
  sudo=(sudo)
fi
echo "setup: installing ${missing[*]}"
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
