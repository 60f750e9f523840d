# shellcheck shell=bash
# A Wayland session nested in a private X session's Xvfb (xsession.sh), its output on the Xvfb's
# screen 1:1, with Xwayland for Verrabel; for the end-to-end tests, the benchmarks and the
# screenshots. GNOME Shell also runs headless, on a screen of its own. Source after xsession.sh;
# after xsession_start and xsession_home:
#   wayland_sway_start | wayland_gnome_headless_start | ...
#   wayland_launch BINARY [VAR=...]  Verrabel in the session
#   wayland_native thunar DIR       a native Wayland GTK program
#   outer xdotool mousemove X Y     the pointer a nested compositor follows is the Xvfb's
# Then DISPLAY and XAUTHORITY name Xwayland, for lib.sh's window checks; xsession_stop stops
# the compositor first. GNOME Shell's starts are in gnome_session.sh, sourced with this file.

WAYLAND_COMPOSITOR= # gnome-shell, gnome-headless, kwin or sway
WAYLAND_PID=
WAYLAND_LEADER= # what was started for it: the compositor, or what runs it as WAYLAND_USER
WAYLAND_BUS= # the session bus of a compositor that runs as WAYLAND_USER with buses of its own
WAYLAND_FIRST= # where the session's PIDs start in XSESSION_PIDS
WAYLAND_USER=${WAYLAND_USER:-verrabel-e2e}
WAYLAND_EXECS=0
WAYLAND_SCRIPTS=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# outer COMMAND...: COMMAND, a function too, against the Xvfb: XTEST on Xwayland would move only
# its own idea of the pointer.
outer() { DISPLAY=$OUTER_DISPLAY XAUTHORITY=$OUTER_XAUTHORITY "$@"; }

# What is on screen: Xwayland's root window holds none of it. A fast compression: mutter's
# dithered background takes seconds at the default. A headless shell shows it only itself.
wayland_screenshot() {
  if [[ $WAYLAND_COMPOSITOR == gnome-headless ]]; then
    wayland_shell_screenshot "$1"
  else
    outer import -silent -window root -quality 10 "$1"
  fi
}

wayland_fail() { printf 'wayland: %s\n' "$*" >&2; return 1; }

# A window manager on the Xvfb would frame the compositor's window and shift its output.
wayland_take_screen() {
  local pid
  OUTER_DISPLAY=$DISPLAY OUTER_XAUTHORITY=${XAUTHORITY:-}
  for pid in "${XSESSION_PIDS[@]}"; do
    if [[ $(cat "/proc/$pid/comm" 2>/dev/null) == openbox ]]; then
      kill "$pid"
      eventually 5 process_gone "$pid" || wayland_fail "openbox did not go" || return 1
    fi
  done
  WAYLAND_FIRST=${#XSESSION_PIDS[@]}
}

# The compositor's Xwayland as "PID DISPLAY [AUTHFILE]": its X lock file holds the compositor's
# PID (wlroots double-forks it away).
wayland_xwayland() {
  local process name words i auth=
  for process in /proc/[0-9]*; do
    { read -r name <"$process/comm" && [[ $name == Xwayland ]] &&
      mapfile -d '' words <"$process/cmdline"; } 2>/dev/null || continue
    # An Xwayland that is going away may have no command line left.
    [[ ${#words[@]} -ge 2 ]] || continue
    [[ $(tr -cd 0-9 2>/dev/null <"/tmp/.X${words[1]#:}-lock") == "$WAYLAND_PID" ]] || continue
    for ((i = 2; i < ${#words[@]}; i++)); do
      [[ ${words[i]} == -auth ]] && auth=${words[i + 1]}
    done
    echo "${process#/proc/} ${words[1]} $auth"
    return 0
  done
  return 1
}

# KWin 6 holds the X display itself and starts Xwayland when the first X client connects.
wayland_xwayland_started() {
  wayland_xwayland && return 0
  local lock display
  for lock in /tmp/.X*-lock; do
    [[ $(tr -cd 0-9 2>/dev/null <"$lock") == "$WAYLAND_PID" ]] || continue
    display=${lock#/tmp/.X}
    DISPLAY=:${display%-lock} timeout 5 xdpyinfo >/dev/null 2>&1 || true
  done
  return 1
}

# Points DISPLAY and XAUTHORITY at the compositor's Xwayland once it answers.
wayland_use_xwayland() {
  local pid display
  eventually 15 wayland_xwayland_started >/dev/null || wayland_fail "no Xwayland" || return 1
  read -r pid display XAUTHORITY < <(wayland_xwayland)
  XSESSION_PIDS+=("$pid")
  export DISPLAY=$display XAUTHORITY XDG_SESSION_TYPE=wayland
  [[ -n "$XAUTHORITY" ]] || unset XAUTHORITY
  # sway's Xwayland lets in only its own user, and the checks run as root.
  [[ $WAYLAND_COMPOSITOR != sway ]] ||
    eventually 15 runuser -u "$WAYLAND_USER" -- xhost +si:localuser:root >/dev/null 2>&1
  eventually 15 xdpyinfo >/dev/null 2>&1 || wayland_fail "Xwayland on $DISPLAY does not answer"
}

# wayland_as_user COMMAND...: COMMAND as WAYLAND_USER, on the session bus of a compositor that
# runs as that user, in its home (the caller's folder may be root's alone).
wayland_as_user() {
  setpriv --reuid="$WAYLAND_USER" --regid="$WAYLAND_USER" --init-groups env -C "$HOME" \
    USER="$WAYLAND_USER" LOGNAME="$WAYLAND_USER" DBUS_SESSION_BUS_ADDRESS="$WAYLAND_BUS" "$@"
}

# kwin_wayland has a file capability these containers cannot grant; a copy of it has none.
wayland_kwin_start() {
  wayland_take_screen || return 1
  WAYLAND_COMPOSITOR=kwin
  export WAYLAND_DISPLAY=wayland-e2e
  cp /usr/bin/kwin_wayland "$XDG_RUNTIME_DIR/kwin_wayland"
  LIBGL_ALWAYS_SOFTWARE=1 "$XDG_RUNTIME_DIR/kwin_wayland" --x11-display "$OUTER_DISPLAY" \
    --width 1600 --height 1000 --socket "$WAYLAND_DISPLAY" --xwayland --no-lockscreen \
    >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  WAYLAND_PID=$! WAYLAND_LEADER=$!
  XSESSION_PIDS+=("$WAYLAND_PID")
  wayland_use_xwayland
}

# sway refuses root: it runs as WAYLAND_USER, who then owns the throw-away HOME (root can still
# read and write there), with a session bus of its own. Windows float without borders, so they
# are where they were put.
wayland_sway_start() {
  wayland_take_screen || return 1
  WAYLAND_COMPOSITOR=sway
  [[ $HOME == "${TMPDIR:-/tmp}"/?* ]] || wayland_fail "HOME $HOME is not a throw-away one" || return 1
  id -u "$WAYLAND_USER" >/dev/null 2>&1 ||
    useradd --system --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin "$WAYLAND_USER"
  chown -R "$WAYLAND_USER:" "$HOME" "$XDG_RUNTIME_DIR"
  cat >"$XDG_RUNTIME_DIR/sway.conf" <<'EOF_CONFIG'
xwayland force
output X11-1 resolution 1600x1000 position 0 0
default_border none
default_floating_border none
for_window [shell=".*"] floating enable
exec dbus-update-activation-environment DISPLAY WAYLAND_DISPLAY SWAYSOCK XDG_SESSION_TYPE
EOF_CONFIG
  runuser -u "$WAYLAND_USER" -- env HOME="$HOME" USER="$WAYLAND_USER" LOGNAME="$WAYLAND_USER" \
    XDG_SESSION_TYPE=wayland WLR_BACKENDS=x11 WLR_RENDERER=pixman \
    dbus-run-session -- sway -c "$XDG_RUNTIME_DIR/sway.conf" >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  WAYLAND_LEADER=$!
  XSESSION_PIDS+=("$WAYLAND_LEADER")
  # sway names its IPC socket after its PID.
  sway_socket() { compgen -G "$XDG_RUNTIME_DIR/sway-ipc.*.sock"; }
  eventually 10 sway_socket >/dev/null || wayland_fail "sway did not come up" || return 1
  export SWAYSOCK WAYLAND_DISPLAY
  SWAYSOCK=$(sway_socket)
  WAYLAND_PID=${SWAYSOCK%.sock} WAYLAND_PID=${WAYLAND_PID##*.}
  XSESSION_PIDS+=("$WAYLAND_PID")
  WAYLAND_DISPLAY=$(cd "$XDG_RUNTIME_DIR" && compgen -G 'wayland-*' | grep -v lock)
  wayland_use_xwayland
}

# labwc (wlroots, the compositor of LXQt's and Raspberry Pi OS's Wayland sessions) nested on the
# X11 backend, its output resized to the Xvfb's. Window rules put a native thunar where the
# scenarios expect it, at 100,450 and 700x450.
wayland_labwc_start() {
  wayland_take_screen || return 1
  WAYLAND_COMPOSITOR=labwc
  local config="$XDG_CONFIG_HOME/labwc"
  mkdir -p "$config"
  cat >"$config/rc.xml" <<'EOF_CONFIG'
<?xml version="1.0"?>
<labwc_config>
  <core><decoration>client</decoration></core>
  <windowRules>
    <windowRule identifier="thunar" serverDecoration="no">
      <action name="MoveTo" x="100" y="450"/>
      <action name="ResizeTo" width="700" height="450"/>
    </windowRule>
  </windowRules>
</labwc_config>
EOF_CONFIG
  WLR_BACKENDS=x11 WLR_RENDERER=pixman WLR_X11_OUTPUTS=1 labwc -C "$config" \
    >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  WAYLAND_PID=$! WAYLAND_LEADER=$!
  XSESSION_PIDS+=("$WAYLAND_PID")
  labwc_socket() { compgen -G "$XDG_RUNTIME_DIR/wayland-*[0-9]" | head -n 1; }
  eventually 10 labwc_socket >/dev/null || wayland_fail "labwc did not come up" || return 1
  WAYLAND_DISPLAY=$(basename "$(labwc_socket)")
  export WAYLAND_DISPLAY
  # Its output opens at the backend's default size: the Xvfb's window is the output.
  local output
  output_window() { outer xwininfo -root -tree | awk '/"wlroots - X11-1"/ { print $1; found = 1 } END { exit !found }'; }
  eventually 10 output_window >/dev/null || wayland_fail "no output window" || return 1
  output=$(output_window)
  outer xdotool windowmove "$output" 0 0 windowsize "$output" 1600 1000
  wayland_use_xwayland
}

# wayland_user_readable WORD: WORD, or where it names a file that the session's user may not read
# (a checkout in a folder only root may enter: /root, mktemp -d), a copy in that user's runtime
# folder. The user's own folders stay as they are.
wayland_user_readable() {
  local copy
  if [[ $1 != /* || ! -f $1 ]] || runuser -u "$WAYLAND_USER" -- test -r "$1"; then
    printf '%s' "$1"
    return
  fi
  copy="$XDG_RUNTIME_DIR/readable/$(md5sum <<<"$1" | cut -c1-8)/${1##*/}"
  install -D -m 755 -o "$WAYLAND_USER" "$1" "$copy" && chown -R "$WAYLAND_USER:" "$XDG_RUNTIME_DIR/readable"
  printf '%s' "$copy"
}

# wayland_exec [VAR=value...] COMMAND...: starts COMMAND in the session, to be stopped with it;
# its PID in WAYLAND_LAST_PID. Under sway and headless GNOME Shell it runs as WAYLAND_USER through
# a script, since sway would split a command line at its own separators.
wayland_exec() {
  if [[ $WAYLAND_COMPOSITOR != sway && $WAYLAND_COMPOSITOR != gnome-headless ]]; then
    xsession_launch env "$@"
    WAYLAND_LAST_PID=$XSESSION_LAST_PID
    return 0
  fi
  local script="$XDG_RUNTIME_DIR/exec-$((++WAYLAND_EXECS))" word
  {
    printf '#!/bin/sh\necho $$ >%q.pid\nexec env' "$script"
    for word; do printf ' %q' "$(wayland_user_readable "$word")"; done
    echo
  } >"$script"
  chmod 755 "$script"
  if [[ $WAYLAND_COMPOSITOR == sway ]]; then
    swaymsg exec "$script" >/dev/null
  else
    xsession_launch wayland_as_user "$script"
  fi
  eventually 5 test -s "$script.pid" || wayland_fail "the session did not run $*" || return 1
  WAYLAND_LAST_PID=$(<"$script.pid")
  XSESSION_PIDS+=("$WAYLAND_LAST_PID")
}

# wayland_launch BINARY [VAR=value...]: Verrabel, which chooses natively or Xwayland itself; its
# PID in WAYLAND_LAST_PID.
wayland_launch() {
  local binary=$1
  shift
  wayland_exec "$@" "$binary"
}

wayland_native() { wayland_exec GDK_BACKEND=wayland "$@"; }
# An X11 program even where its toolkit would open natively (pcmanfm is GTK 3 from Debian 13 on).
wayland_x11() { wayland_exec GDK_BACKEND=x11 "$@"; }

# wayland_own PATH...: under sway the session's programs are not root: theirs to write. The
# runtime folder is theirs from the start, and root may not even look into what is mounted there
# (the document portal's FUSE mount).
wayland_own() {
  if [[ $WAYLAND_COMPOSITOR == sway || $WAYLAND_COMPOSITOR == gnome-headless ]]; then
    find "$@" -path "$XDG_RUNTIME_DIR" -prune -o -exec chown "$WAYLAND_USER:" {} +
  fi
}

# wayland_thunar_size WIDTH HEIGHT: the size thunar's next window opens with.
wayland_thunar_size() {
  local channel="$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
  mkdir -p "$channel"
  printf '<channel name="thunar" version="1.0">%s%s</channel>\n' \
    "<property name=\"last-window-width\" type=\"int\" value=\"$1\"/>" \
    "<property name=\"last-window-height\" type=\"int\" value=\"$2\"/>" >"$channel/thunar.xml"
  wayland_own "$XDG_CONFIG_HOME"
}

# wayland_place CRITERIA X Y WIDTH HEIGHT: sway puts the windows CRITERIA match (such as
# 'app_id="thunar"') there, also those that open later.
wayland_place() {
  local commands="floating enable, resize set $4 $5, move absolute position $2 $3"
  swaymsg "for_window [$1] \"$commands\"" >/dev/null
}

wayland_window() { swaymsg "[$1] nop" >/dev/null 2>&1; }

# wayland_pixel X Y: the colour on screen there.
wayland_pixel() {
  if [[ $WAYLAND_COMPOSITOR == gnome-headless ]]; then
    local shot="$XDG_RUNTIME_DIR/pixel-$BASHPID.png"
    wayland_shell_screenshot "$shot" "$1" "$2" 1 1 &&
      convert "$shot" -alpha off -format '%[pixel:p{0,0}]' info: && rm "$shot"
  else
    outer import -window root -crop "1x1+$1+$2" -format '%[pixel:p{0,0}]' info:
  fi
}

# wayland_until_drawn X Y COMMAND...: runs COMMAND and waits until the screen at X Y changes:
# nothing else tells of a native window under mutter.
wayland_until_drawn() {
  local x=$1 y=$2 before
  shift 2
  before=$(wayland_pixel "$x" "$y")
  "$@"
  changed() { [[ $(wayland_pixel "$x" "$y") != "$before" ]]; }
  eventually 20 changed || wayland_fail "nothing was drawn at $x,$y"
}

# Stops what the session started, then the compositor, and waits for it: it removes Xwayland's
# lock files and sockets only while the Xvfb is still there. sway's runuser and bus follow it by
# themselves (a runuser that is killed waits 2 s and leaves the bus behind).
wayland_stop() {
  [[ -n "$WAYLAND_PID" ]] || return 0
  local i
  for ((i = ${#XSESSION_PIDS[@]} - 1; i >= WAYLAND_FIRST; i--)); do
    [[ " $WAYLAND_PID $WAYLAND_LEADER " == *" ${XSESSION_PIDS[i]} "* ]] ||
      kill "${XSESSION_PIDS[i]}" 2>/dev/null || true
  done
  kill "$WAYLAND_PID" 2>/dev/null || true
  eventually 5 process_gone "$WAYLAND_PID" || kill -9 "$WAYLAND_PID" 2>/dev/null || true
  eventually 5 process_gone "$WAYLAND_LEADER" || true
  WAYLAND_PID=
  export DISPLAY=$OUTER_DISPLAY
}

# e2e_finish calls xsession_stop: the compositor goes first.
if ! declare -F wayland_xsession_stop >/dev/null; then
  eval "wayland_xsession_stop() $(declare -f xsession_stop | tail -n +2)"
  xsession_stop() {
    wayland_stop
    wayland_xsession_stop
  }
fi

# shellcheck source=scripts/gnome_session.sh
source "$WAYLAND_SCRIPTS/gnome_session.sh"
