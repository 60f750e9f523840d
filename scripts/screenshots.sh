#!/usr/bin/env bash
# Makes the README's pictures of the shelf, as it looks, into docs/images/: expanded in the
# light and the dark palette, an empty Desktop, a drop under way, and under GNOME Shell's top bar.
# A compositor runs and the screen has a plain backdrop, as on a desktop; the language is
# Simplified Chinese.
# Usage: scripts/screenshots.sh [build-dir [picture...]]   (pictures: shelf-light shelf-dark
# empty drop gnome-wayland; all by default)
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
shift || true
out="$here/docs/images"
"$here/scripts/setup.sh" desktop e2e screenshots
# shellcheck source=scripts/xsession.sh
source "$here/scripts/xsession.sh"
# shellcheck source=scripts/wayland_session.sh
source "$here/scripts/wayland_session.sh"
# shellcheck source=scripts/drag.sh
source "$here/scripts/drag.sh"
mkdir -p "$out"
export LANG=zh_CN.UTF-8

state=$(mktemp -d)
trap 'xsession_stop; rm -rf "$state"' EXIT

shoot() { # shoot NAME: the top centre of the screen, where the shelf hangs
  sleep 0.4
  import -window root "$state/full.png"
  convert "$state/full.png" -crop 640x400+480+0 +repage "$out/$1.png"
}

desktop_of_a_week() {
  local name
  for name in "报告 2024.pdf" "会议纪要.txt" "季度总结.docx" "照片 1.jpg" "照片 2.jpg" "照片 10.jpg" \
    "budget.xlsx" "notes.md" "设计稿 最终版 (第二稿) 请勿删除.sketch"; do
    head -c $((RANDOM * 5)) /dev/urandom >"$HOME/Desktop/$name"
  done
  mkdir -p "$HOME/Desktop/截图" "$HOME/Desktop/项目资料"
}

run_shelf() { # run_shelf [ENV=VALUE...]: Verrabel, brought down by the pointer
  xsession_launch env "$@" "$build/verrabel"
  sleep 1
  xdotool mousemove 800 3
  sleep 0.3
  xdotool mousemove 800 200
}

x11_session() { # a fresh X session with a compositor and a plain backdrop
  xsession_stop
  xsession_start 1600x1000
  xsetroot -solid '#5a7da6'
  xsession_launch xcompmgr
}

picture_shelf-light() {
  x11_session
  xsession_home "$state/light" welcomed
  desktop_of_a_week
  run_shelf
  shoot shelf-light
}

picture_shelf-dark() {
  x11_session
  xsession_home "$state/dark" welcomed
  desktop_of_a_week
  run_shelf QT_QPA_PLATFORMTHEME=gtk3 GTK_THEME=Adwaita:dark
  shoot shelf-dark
}

picture_empty() {
  x11_session
  xsession_home "$state/empty" welcomed
  run_shelf
  shoot empty
}

picture_drop() { # a drop under way: a file from pcmanfm held over the shelf
  x11_session
  xsession_home "$state/drop" welcomed
  desktop_of_a_week
  mkdir -p "$HOME/src"
  echo "summary" >"$HOME/src/方案.pdf"
  xsession_launch pcmanfm --new-win "$HOME/src"
  place_window '^src$' 100 450 700 450
  xsession_launch "$build/verrabel"
  sleep 1
  drag_start 307 568
  drag_steps 322 568 800 5
  drag_steps 800 5 800 200
  shoot drop
  drag_end 800 200
}

picture_gnome-wayland() { # GNOME Shell, nested: the shelf under the top bar, beside a native thunar
  xsession_stop
  xsession_start 1600x1000
  xsession_home "$state/gnome" welcomed
  desktop_of_a_week
  wayland_gnome_shell_start
  wayland_thunar_size 700 450
  wayland_until_drawn 449 500 wayland_native thunar "$HOME/Desktop"
  sleep 8 # GNOME Shell's welcome notification leaves the top centre
  wayland_launch "$build/verrabel"
  sleep 1
  outer xdotool mousemove 800 0
  sleep 0.3
  outer xdotool mousemove 800 200
  sleep 0.4
  wayland_screenshot "$state/full.png"
  convert "$state/full.png" -crop 640x400+480+0 +repage "$out/gnome-wayland.png"
}

(($# > 0)) || set -- shelf-light shelf-dark empty drop gnome-wayland
for picture in "$@"; do
  "picture_$picture"
done
echo "pictures in $out"
