# shellcheck shell=bash
# The frame of an end-to-end scenario: a private X session with a throw-away HOME, the real
# binary, and checks that read the X server's view of the shelf. A failing scenario leaves a
# screenshot and the logs in $E2E_BUILD/e2e/<scenario>/.
#   source tests/e2e/lib.sh; e2e_begin NAME [welcomed]; e2e_launch; expect "what" COMMAND...
set -euo pipefail

E2E_SOURCE=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
E2E_BUILD=$(cd "${E2E_BUILD:-$E2E_SOURCE/build}" && pwd)
for script in xsession wayland_session drag; do
  # shellcheck source=/dev/null
  source "$E2E_SOURCE/scripts/$script.sh"
done

e2e_begin() {
  E2E_NAME=$1
  E2E_ARTIFACTS="$E2E_BUILD/e2e/$E2E_NAME"
  rm -rf "$E2E_ARTIFACTS"
  mkdir -p "$E2E_ARTIFACTS"
  export XSESSION_LOG="$E2E_ARTIFACTS/session.log"
  E2E_STATE=$(mktemp -d)
  trap e2e_finish EXIT
  xsession_start 1600x1000
  xsession_home "$E2E_STATE" "${2:-}"
  E2E_DESKTOP="$HOME/Desktop"
}

# e2e_finish [STATUS]: the scenario's status, that of the command that ended it unless given.
e2e_finish() {
  local status=${1:-$?} started=("${XSESSION_PIDS[@]}") pid
  if ((status != 0)); then
    import -window root "$E2E_ARTIFACTS/failure.png" 2>/dev/null || true
    [[ -z "$WAYLAND_PID" ]] || wayland_screenshot "$E2E_ARTIFACTS/screen.png" 2>/dev/null || true
    { xwininfo -root -tree && ls -laR "$HOME"; } >"$E2E_ARTIFACTS/windows-and-home.txt" 2>&1 || true
  fi
  xsession_stop
  for pid in "${started[@]}"; do
    if ! eventually 2 process_gone "$pid"; then
      echo "e2e: process $pid ($(tr '\0' ' ' <"/proc/$pid/cmdline")) outlived the scenario" >&2
      status=1
    fi
  done
  # File systems a scenario mounted there (in a mount namespace of its own) go first.
  findmnt -rn -o TARGET | awk -v state="$E2E_STATE/" 'index($0, state) == 1' | xargs -r umount -l
  rm -rf "$E2E_STATE"
  ((status != 0)) || { rm -rf "$E2E_ARTIFACTS" && echo "e2e: $E2E_NAME passed" && exit 0; }
  echo "e2e: $E2E_NAME failed; screenshot and logs in $E2E_ARTIFACTS" >&2
  exit "$status"
}

# Starts Verrabel with the given environment additions, inside the Wayland session once one runs
# (there it chooses natively or Xwayland itself); its PID in E2E_APP.
e2e_launch() {
  if [[ -n "$WAYLAND_PID" ]]; then
    wayland_launch "$E2E_BUILD/verrabel" "$@"
    E2E_APP=$WAYLAND_LAST_PID
  else
    xsession_launch env "$@" "$E2E_BUILD/verrabel"
    E2E_APP=$XSESSION_LAST_PID
  fi
}

# expect WHAT COMMAND...: fails the scenario unless COMMAND succeeds.
expect() {
  "${@:2}" || { echo "e2e: FAIL: $1" >&2 && exit 1; }
}

# verrabel_window SIZE: the first of Verrabel's windows whose size matches the regular
# expression SIZE (such as 420x350).
verrabel_window() {
  xwininfo -root -tree | awk -v size="$1" '/\("verrabel" "Verrabel"\)/ && $0 ~ "\\)  " size {print $1; exit}'
}
viewable() { [[ -n "$1" ]] && xwininfo -id "$1" | grep -q 'Map State: IsViewable'; }
shelf_window() { verrabel_window 420x350; }
shelf_mapped() { viewable "$(shelf_window)"; }
shelf_hidden() { ! shelf_mapped; }
# shelf_at X Y: the shelf is mapped with its top-left corner there, on the screen (a window
# manager may have put it into a frame of its own).
shelf_at() {
  # grep reads it all: with pipefail, an early exit would fail xwininfo, writing on.
  shelf_mapped && xwininfo -root -tree |
    grep -E "\(\"verrabel\" \"Verrabel\"\)  420x350[-+0-9]*  \+$1\+$2\$" >/dev/null
}
# Natively on Wayland no X window tells of the shelf, a layer surface: the screen does, where
# its light grey body would be, above the windows the scenarios open (and below the top bar a
# desktop may keep). A native scenario makes this its shelf_mapped.
shelf_drawn() {
  local r g b
  IFS=, read -r r g b < <(wayland_pixel 800 150 | tr -dc '0-9,')
  ((r >= 215 && r <= 240 && g >= 215 && g <= 240 && b >= 215 && b <= 240))
}
desktop_has() { [[ -e "$E2E_DESKTOP/$1" ]]; }

# tray_host bottom | top: a tray host, the release's own (trayer went after Debian 13), at the
# bottom right with small icons, or as a panel 32 high at the top centre that keeps its strut.
tray_host() {
  if command -v trayer >/dev/null; then
    case $1 in
      bottom) xsession_launch trayer --edge bottom --align right --width 10 --height 24 ;;
      top) xsession_launch trayer --edge top --align center --width 10 --height 32 --SetDockType true \
        --SetPartialStrut true ;;
    esac
  else
    case $1 in
      bottom) xsession_launch stalonetray --geometry 4x1-0-0 --icon-size 24 --skip-taskbar ;;
      top) xsession_launch stalonetray --window-type dock --window-strut top --geometry 5x1+720+0 \
        --icon-size 32 --skip-taskbar ;;
    esac
  fi
}

# Where the shelf hangs: from the top edge, or from a bar the desktop keeps there (GNOME's).
SHELF_TOP=25
# The first row of the expanded shelf, where the pointer takes hold of it.
readonly FIRST_ROW_X=791
# The docked icon: Verrabel's small window inside the tray host.
tray_icon() { verrabel_window '(1[6-9]|2[0-9]|3[0-2])x'; }
tray_docked() { viewable "$(tray_icon)"; }
# The open menu: a popup of Verrabel's on screen, wider than high, and not the shelf (which
# exists, unmapped, all the time).
menu_open() {
  local window
  for window in $(xwininfo -root -tree | grep -E '\("verrabel" "Verrabel"\)  [0-9]{3}x[0-9]{2,3}\+' |
    grep -v ' 420x350+' | awk '{print $1}'); do
    viewable "$window" && return 0
  done
  return 1
}
open_menu() {
  xdotool mousemove --window "$(tray_icon)" 8 8
  # A freshly docked icon may take a moment before it answers clicks; a person reads the menu
  # before pressing keys, and Qt grabs the keyboard meanwhile.
  for _ in 1 2 3 4 5; do
    sleep 0.5
    xdotool click 1
    eventually 1 menu_open && sleep 0.3 && return 0
  done
  return 1
}

first_row_y() { echo $((SHELF_TOP + 97)); }

# pointer COMMAND...: xdotool against the display whose pointer the session follows: the outer
# Xvfb in a nested Wayland session.
pointer() {
  if [[ -n "$WAYLAND_PID" ]]; then outer xdotool "$@"; else xdotool "$@"; fi
}

# A headless GNOME Shell's mouse and keyboard (tests/e2e/remote_mouse.py), started by mouse_start
# once the shell runs: `mouse COMMAND` hands it one command and returns once it is done.
MOUSE_COMMANDS=
mouse_start() {
  local pipe="$XDG_RUNTIME_DIR/mouse"
  mkfifo "$pipe-commands" "$pipe-replies"
  wayland_own "$pipe-commands" "$pipe-replies"
  wayland_exec /usr/bin/python3 "$E2E_SOURCE/tests/e2e/remote_mouse.py" 1600x1000 \
    "$pipe-commands" "$pipe-replies"
  # Read and write both: opening them so never waits for the other side.
  exec {MOUSE_COMMANDS}<>"$pipe-commands" {MOUSE_REPLIES}<>"$pipe-replies"
}
mouse() {
  local reply
  echo "$*" >&"$MOUSE_COMMANDS"
  read -r -t 20 reply <&"$MOUSE_REPLIES" || reply="no answer"
  [[ $reply == ok ]] || { echo "e2e: mouse $*: $reply" >&2 && return 1; }
}

# click_here: a left click where the pointer is, by the session's own mouse.
click_here() {
  if [[ -n $MOUSE_COMMANDS ]]; then mouse click; else pointer click 1; fi
}

# mouse_pick_up X Y, mouse_let_go X Y: the two ends of a drag by the remote mouse, paced as
# drag.sh paces xdotool's; mouse_drag X Y [VIA_X VIA_Y]... TO_X TO_Y: a whole one.
mouse_pick_up() {
  mouse to "$1" "$2"
  sleep 0.3
  mouse press
  sleep 0.3
  mouse by 5 0
  sleep 0.1
  mouse by 10 0
  sleep 0.2
}
mouse_let_go() {
  mouse to $(($1 - 2)) "$2"
  sleep 0.3
  mouse by 2 0
  sleep 0.3
  mouse release
}
mouse_drag() {
  mouse_pick_up "$1" "$2"
  shift 2
  while (($# > 2)); do
    mouse to "$1" "$2"
    sleep 0.3
    shift 2
  done
  mouse_let_go "$1" "$2"
}

# glide X Y: the pointer moves there as a hand does, a few points at a time (about 500 points a
# second; the remote mouse, where there is one, goes twice as fast).
glide() {
  local X Y SCREEN WINDOW dx dy i steps
  if [[ -n $MOUSE_COMMANDS ]]; then
    mouse to "$1" "$2"
    return
  fi
  eval "$(pointer getmouselocation --shell)"
  dx=$(($1 - X)) dy=$(($2 - Y))
  steps=$(((${dx#-} + ${dy#-}) / 6 + 1))
  for ((i = 1; i <= steps; i++)); do
    pointer mousemove $((X + ($1 - X) * i / steps)) $((Y + ($2 - Y) * i / steps))
    sleep 0.008
  done
}

# Brings the shelf down by the top centre, as a user does.
bring_shelf_down() {
  push_top_centre
  eventually 2 shelf_mapped
}

# push_top_centre: the pointer goes to the top centre and on against the edge for a moment, as a
# hand does: KWin pushes it back off its edges at first and answers only a second push; GNOME's
# pressure barriers count how far it pushes.
push_top_centre() {
  local i
  glide 800 0
  for ((i = 0; i < 10; i++)); do
    sleep 0.04
    if [[ -n $MOUSE_COMMANDS ]]; then mouse by 0 -8; else pointer mousemove_relative -- 0 -3; fi
  done
}

# In a Wayland session only the strip along the very top edge opens the shelf: the rest of the
# top centre keeps its clicks for the windows there. On X11 the zone reaches 37 points down.
top_centre_y() { if [[ -n "$WAYLAND_PID" ]]; then echo 0; else echo 20; fi; }

# expect_hover: from collapsed, the pointer at the top centre brings the shelf down; it stays
# within 12 points of the panel (x 590..1009, y SHELF_TOP and 349 below) and goes further off,
# just below it; a pointer that pauses just below the top centre's zone, long enough for the
# hover timer to nap, and then goes on into it brings the shelf down at once.
expect_hover() {
  local point bottom=$((SHELF_TOP + 349))
  expect "collapsed" shelf_hidden
  push_top_centre
  expect "the pointer at the top centre brings the shelf down" eventually 1 shelf_at 590 "$SHELF_TOP"
  for point in "581 200" "1018 200" "800 $((bottom + 10))" "700 $(top_centre_y)"; do
    glide 800 200
    sleep 0.2
    # shellcheck disable=SC2086
    glide $point
    sleep 0.5
    expect "it stays with the pointer at $point" shelf_mapped
  done
  glide 800 200
  glide 800 $((bottom + 21))
  expect "further off, it goes" eventually 1 shelf_hidden
  glide 800 45
  sleep 1
  expect "just below the top centre it stays up" shelf_hidden
  if [[ -n "$WAYLAND_PID" ]]; then push_top_centre; else glide 800 20; fi
  expect "on into the top centre, it comes down" eventually 0.3 shelf_mapped
}

# A click 20 points below the top edge at the centre reaches the native window there: in a
# Wayland session Verrabel takes no click but on the edge's strip. The window, which covers the
# screen, goes with the click.
expect_click_below_the_edge() {
  local note="$HOME/click-probe"
  rm -f "$note"
  wayland_own "$HOME"
  wayland_native /usr/bin/python3 "$E2E_SOURCE/tests/e2e/click_probe.py" "$note"
  expect "a native window over the whole screen" eventually 10 grep -qsx ready "$note"
  glide 800 600
  expect "the shelf is up" eventually 2 shelf_hidden
  glide 800 20
  sleep 0.3
  expect "20 points below the edge the shelf stays up" shelf_hidden
  click_here
  expect "the click reaches the native window" eventually 3 grep -Eqsx '[0-9]+ [0-9]+' "$note"
}

# expect_click_at_the_edge: natively under KWin, a click at the very top centre of a maximised
# window (a browser's tab) reaches it: the pointer that comes to the edge is only pushed back off
# it, and nothing of Verrabel's takes clicks there.
expect_click_at_the_edge() {
  local note="$HOME/maximised-probe"
  rm -f "$note"
  glide 800 600
  wayland_own "$HOME"
  wayland_native /usr/bin/python3 "$E2E_SOURCE/tests/e2e/click_probe.py" "$note" --maximised
  expect "a native window maximised" eventually 10 grep -qsx ready "$note"
  glide 800 0
  click_here
  expect "a click at the top edge's centre reaches it" \
    eventually 3 grep -Eqsx '[0-9]+ [01]' "$note"
  expect "the shelf stays up" shelf_hidden
}

# expect_fullscreen_left_alone: with a window fullscreen and active, the pointer pushed against
# the top centre brings no shelf, and a click there reaches that window; once it has gone with
# the click, the edge brings the shelf down again.
expect_fullscreen_left_alone() {
  local note="$HOME/fullscreen-probe"
  rm -f "$note"
  glide 300 700
  expect "the shelf is up before" eventually 2 shelf_hidden
  if [[ -n "$WAYLAND_PID" ]]; then
    wayland_own "$HOME"
    wayland_native /usr/bin/python3 "$E2E_SOURCE/tests/e2e/click_probe.py" "$note" --fullscreen
  else
    xsession_launch /usr/bin/python3 "$E2E_SOURCE/tests/e2e/click_probe.py" "$note" --fullscreen
  fi
  expect "a window fullscreen and active" eventually 10 grep -qsx ready "$note"
  glide 800 300
  push_top_centre
  sleep 0.5
  expect "pushed at the top centre over a fullscreen window, the shelf stays up" shelf_hidden
  click_here
  expect "a click at the top centre reaches the fullscreen window" \
    eventually 3 grep -Eqsx '[0-9]+ [0-9]+' "$note"
  glide 800 300
  expect "with it gone, the edge brings the shelf down again" bring_shelf_down
}

# native_only NAME [PROGRAM]: skips the scenario NAME where Verrabel cannot run natively (a build
# without the layer-shell backend) or the compositor PROGRAM is not installed.
native_only() {
  grep -q '^VERRABEL_HAS_LAYER_SHELL:INTERNAL=ON' "$E2E_BUILD/CMakeCache.txt" &&
    command -v "${2:-true}" >/dev/null && return 0
  echo "e2e: $1 skipped: no layer-shell backend in this build, or no ${2:-compositor}"
  exit 77
}

# Natively no X window tells of the shelf, a layer surface: the screen tells that it is there,
# not where. thunar's folder and the Desktop hold what expect_native_drops moves.
native_shelf() {
  shelf_mapped() { shelf_drawn; }
  shelf_at() { shelf_mapped; }
  mkdir -p "$HOME/native"
  echo "from a native window" >"$HOME/native/from-native.txt"
  echo "on the desktop" >"$E2E_DESKTOP/keep.txt"
}

# expect_native_drops ICON_X ICON_Y TO_X TO_Y: natively, from-native.txt dragged from thunar's
# icon at ICON by way of the top edge lands on the Desktop (only if the shelf came down under the
# drag there), and keep.txt's row dragged into thunar at TO is copied there whole.
expect_native_drops() {
  pointer mousemove 100 990
  outer drag_via "$1" "$2" 800 0 800 200
  expect "a file dragged from native thunar is saved" eventually 5 desktop_has from-native.txt
  rm "$HOME/native/from-native.txt"
  glide 800 600
  expect "the shelf goes after the drop" eventually 2 shelf_hidden
  bring_shelf_down
  # The rows: from-native.txt, keep.txt.
  outer drag "$FIRST_ROW_X" $(($(first_row_y) + 54)) "$3" "$4"
  expect "a row dragged into native thunar is copied" eventually 5 test -e "$HOME/native/keep.txt"
  expect "the copy is whole" cmp -s "$HOME/native/keep.txt" "$E2E_DESKTOP/keep.txt"
}

# Under sway: waybar, started after Verrabel, docks Verrabel's StatusNotifierItem, whose menu is
# the X11 tray's.
expect_tray_in_waybar() {
  mkdir -p "$XDG_CONFIG_HOME/waybar"
  echo '{ "position": "bottom", "height": 26, "modules-right": ["tray"] }' \
    >"$XDG_CONFIG_HOME/waybar/config"
  wayland_own "$XDG_CONFIG_HOME"
  wayland_exec waybar
  session_bus() {
    runuser -u "$WAYLAND_USER" -- env DBUS_SESSION_BUS_ADDRESS="$(tr '\0' '\n' <"/proc/$E2E_APP/environ" |
      sed -n 's/^DBUS_SESSION_BUS_ADDRESS=//p')" gdbus call --session "$@"
  }
  tray_item() {
    session_bus --dest org.kde.StatusNotifierWatcher --object-path /StatusNotifierWatcher \
      --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher \
      RegisteredStatusNotifierItems 2>/dev/null | grep -o "':[0-9.]*/StatusNotifierItem'"
  }
  tray_docked() { tray_item >/dev/null; }
  expect "the item docks in waybar, started after Verrabel" eventually 8 tray_docked
  local item menu layout title
  item=$(tray_item | tr -d "'")
  menu=$(session_bus --dest "${item%%/*}" --object-path "/${item#*/}" \
    --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierItem Menu |
    sed -E "s/.*'(.*)'.*/\1/")
  layout=$(session_bus --dest "${item%%/*}" --object-path "$menu" \
    --method com.canonical.dbusmenu.GetLayout 0 -- -1 "@as []")
  for title in 展开桌面文件 "在 Finder 中打开桌面" "退出 Verrabel"; do
    expect "the menu offers $title" grep -q "'label': <'$title'>" <<<"$layout"
  done
}

# Promised files. They are staged in hidden folders in the Desktop, and nothing in $TMPDIR; the
# result is read through AT-SPI, which wants the scenario to unset NO_AT_BRIDGE and launch with
# QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1.
no_temporaries() { [[ -z "$(ls -A "$TMPDIR")$(ls -A "$E2E_DESKTOP" | grep '^\.verrabel-')" ]]; }
reads() { /usr/bin/python3 "$E2E_SOURCE/tests/e2e/atspi_names.py" --labels | grep -xF "label	$1" >/dev/null; }

# whole_when_seen NAME SIZE: waits up to 20 s for NAME on the Desktop; fails if it ever shows
# short.
whole_when_seen() {
  local size tries=1000
  until size=$(stat -c %s "$E2E_DESKTOP/$1" 2>/dev/null); do ((--tries)) && sleep 0.02 || return 1; done
  [[ $size == "$2" ]] || { echo "e2e: $1 showed with $size of $2 bytes" >&2 && return 1; }
}

# drop_promise NAME ANSWER [BURSTS PAUSE DELAY]: the tests' source drops NAME on the shelf.
drop_promise() {
  local name=$1
  shift
  head -c 3000000 /dev/urandom >"$HOME/$name"
  whole_when_seen "$name" 3000000 &
  local watcher=$!
  expect "the shelf is open" bring_shelf_down
  xdotool mousemove 800 200
  # Checked while the source still runs: its children are its helpers only while it lives.
  /usr/bin/python3 "$E2E_SOURCE/tests/e2e/xds_source.py" "$(shelf_window)" 800 200 "$name" "$1" "$HOME/$name" "${@:2}" >/dev/null &
  local source=$!
  expect "$name never shows half-made, and arrives" wait "$watcher"
  expect "$name is whole" cmp -s "$HOME/$name" "$E2E_DESKTOP/$name"
  expect "its temporary folder is gone" eventually 5 no_temporaries
  expect "the result of $name counts it saved, with no failure" eventually 5 reads "已存到桌面 · 1 个项目"
  expect "the source of $name saw its drop finished" wait "$source"
}

