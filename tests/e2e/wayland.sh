# shellcheck shell=bash
# A Wayland session nested in the scenario's Xvfb: a compositor whose output covers the Xvfb
# screen 1:1, with Xwayland for Verrabel. Source after lib.sh; after e2e_begin:
#
#   wayland_mutter_start                or wayland_sway_start
#   wayland_launch [VAR=value...]       Verrabel on Xwayland; its PID in E2E_APP
#   wayland_native thunar DIR           a native Wayland GTK program
#   outer drag 312 612 800 200          the pointer the compositor follows is the Xvfb's
#
# Afterwards DISPLAY and XAUTHORITY name Xwayland, so lib.sh's window checks look there, and
# OUTER_DISPLAY the Xvfb. xsession_stop stops the compositor first.

OUTER_DISPLAY=${OUTER_DISPLAY:-}
OUTER_XAUTHORITY=${OUTER_XAUTHORITY:-}
WAYLAND_COMPOSITOR= # mutter or sway
WAYLAND_PID=
WAYLAND_LEADER= # what was started for it: mutter, or runuser for sway
WAYLAND_XWAYLAND_PID=
WAYLAND_FIRST= # where the compositor's PIDs start in XSESSION_PIDS
WAYLAND_USER=${WAYLAND_USER:-verrabel-e2e}
WAYLAND_EXECS=0

# outer COMMAND...: runs COMMAND, a function too, against the Xvfb. XTEST on Xwayland moves
# only its X clients' idea of the pointer, never the compositor's.
outer() { DISPLAY=$OUTER_DISPLAY XAUTHORITY=$OUTER_XAUTHORITY "$@"; }

# What is on screen: Xwayland's root window holds none of it. Fast zlib: mutter's dithered
# background takes seconds to compress at the default level.
wayland_screenshot() { outer import -silent -window root -quality 10 "$1"; }

wayland_log() { printf 'wayland: %s\n' "$*" >&2; }

# A window manager on the Xvfb would frame the compositor's window and shift its output.
wayland_take_screen() {
  local pid
  OUTER_DISPLAY=$DISPLAY
  OUTER_XAUTHORITY=${XAUTHORITY:-}
  for pid in "${XSESSION_PIDS[@]}"; do
    [[ $(cat "/proc/$pid/comm" 2>/dev/null) == openbox ]] || continue
    kill "$pid"
    eventually 5 process_gone "$pid" || { wayland_log "openbox did not go"; return 1; }
  done
  WAYLAND_FIRST=${#XSESSION_PIDS[@]}
}

# wayland_xwayland: the compositor's Xwayland as "PID DISPLAY [AUTHFILE]". wlroots
# double-forks it away; the X lock file holds the compositor's PID with either compositor.
wayland_xwayland() {
  local process name words i auth
  for process in /proc/[0-9]*; do
    { read -r name <"$process/comm"; } 2>/dev/null || continue
    [[ $name == Xwayland ]] || continue
    { mapfile -d '' words <"$process/cmdline"; } 2>/dev/null || continue
    [[ ${words[1]:-} == :* ]] || continue
    [[ $(tr -cd 0-9 <"/tmp/.X${words[1]#:}-lock" 2>/dev/null) == "$WAYLAND_PID" ]] || continue
    auth=
    for ((i = 2; i < ${#words[@]}; i++)); do
      [[ ${words[i]} == -auth ]] && auth=${words[i + 1]}
    done
    echo "${process#/proc/} ${words[1]} $auth"
    return 0
  done
  return 1
}

# Points DISPLAY and XAUTHORITY at the compositor's Xwayland once it is there.
wayland_find_xwayland() {
  local found
  if ! eventually 15 wayland_xwayland >/dev/null; then
    wayland_log "$WAYLAND_COMPOSITOR started no Xwayland"
    return 1
  fi
  read -r WAYLAND_XWAYLAND_PID found XAUTHORITY < <(wayland_xwayland)
  XSESSION_PIDS+=("$WAYLAND_XWAYLAND_PID")
  export DISPLAY=$found XAUTHORITY XDG_SESSION_TYPE=wayland
  [[ -n "$XAUTHORITY" ]] || unset XAUTHORITY
}

wayland_xwayland_answers() {
  eventually 15 xdpyinfo >/dev/null 2>&1 || { wayland_log "Xwayland on $DISPLAY does not answer"; return 1; }
}

# mutter as root: Wayland socket in the session's XDG_RUNTIME_DIR, Xwayland at once with an
# auth file there.
wayland_mutter_start() {
  wayland_take_screen || return 1
  WAYLAND_COMPOSITOR=mutter
  export WAYLAND_DISPLAY=wayland-e2e
  # The dummy mode is the nested output's size; without it mutter opens 800x600.
  MUTTER_DEBUG_DUMMY_MODE_SPECS=1600x1000 \
    mutter --wayland --nested --wayland-display "$WAYLAND_DISPLAY" >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  WAYLAND_PID=$!
  WAYLAND_LEADER=$WAYLAND_PID
  XSESSION_PIDS+=("$WAYLAND_PID")
  wayland_find_xwayland && wayland_xwayland_answers || return 1
  # The session bus was started before the throw-away home: what it starts (xfconfd, a file
  # manager asked to show a file) would read root's settings and open on the Xvfb.
  dbus-update-activation-environment HOME XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME \
    XDG_RUNTIME_DIR DISPLAY XAUTHORITY WAYLAND_DISPLAY XDG_SESSION_TYPE
}

# sway refuses root: it runs as WAYLAND_USER, who then owns the scenario's throw-away HOME
# (root can still read and write everything there), with a session bus of its own.
wayland_sway_start() {
  wayland_take_screen || return 1
  WAYLAND_COMPOSITOR=sway
  # It is handed over to another user: only a throw-away one.
  [[ $HOME == "${TMPDIR:-/tmp}"/?* ]] || { wayland_log "HOME $HOME is not a throw-away folder"; return 1; }
  id -u "$WAYLAND_USER" >/dev/null 2>&1 ||
    useradd --system --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin "$WAYLAND_USER"
  mkdir -p "$XDG_RUNTIME_DIR"
  chown -R "$WAYLAND_USER:" "$HOME" "$XDG_RUNTIME_DIR"
  chmod 700 "$XDG_RUNTIME_DIR"
  local config="$XDG_RUNTIME_DIR/sway.conf"
  # Xwayland at once, so that it can be waited for. Windows float, as on a desktop that does
  # not tile, and without borders their content is where they were put. What the bus starts
  # must find this session's displays.
  cat >"$config" <<'EOF'
xwayland force
output X11-1 resolution 1600x1000 position 0 0
default_border none
default_floating_border none
for_window [shell=".*"] floating enable
exec dbus-update-activation-environment DISPLAY WAYLAND_DISPLAY SWAYSOCK XDG_SESSION_TYPE
EOF
  runuser -u "$WAYLAND_USER" -- env HOME="$HOME" USER="$WAYLAND_USER" LOGNAME="$WAYLAND_USER" \
    XDG_SESSION_TYPE=wayland WLR_BACKENDS=x11 WLR_RENDERER=pixman \
    dbus-run-session -- sway -c "$config" >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  WAYLAND_LEADER=$!
  XSESSION_PIDS+=("$WAYLAND_LEADER")
  if ! eventually 10 wayland_sway_socket >/dev/null; then
    wayland_log "sway did not come up"
    return 1
  fi
  export SWAYSOCK
  SWAYSOCK=$(wayland_sway_socket)
  WAYLAND_PID=${SWAYSOCK%.sock}
  WAYLAND_PID=${WAYLAND_PID##*.}
  XSESSION_PIDS+=("$WAYLAND_PID")
  local socket
  for socket in "$XDG_RUNTIME_DIR"/wayland-*; do
    [[ $socket == *.lock ]] || export WAYLAND_DISPLAY=${socket##*/}
  done
  wayland_find_xwayland || return 1
  # This Xwayland has no auth file and lets in only its own user; the checks run as root.
  if ! eventually 15 runuser -u "$WAYLAND_USER" -- xhost +si:localuser:root >/dev/null 2>&1; then
    wayland_log "Xwayland on $DISPLAY does not let root in"
    return 1
  fi
  wayland_xwayland_answers
}

# sway names its IPC socket after its PID.
wayland_sway_socket() {
  local socket
  for socket in "$XDG_RUNTIME_DIR"/sway-ipc.*.sock; do
    [[ -S $socket ]] && echo "$socket" && return 0
  done
  return 1
}

# wayland_exec [VAR=value...] COMMAND...: starts COMMAND in the session with its environment,
# to be stopped with it; its PID in WAYLAND_LAST_PID. Under sway it runs as WAYLAND_USER, by
# way of a script, since sway would split a command line at its own separators.
wayland_exec() {
  if [[ $WAYLAND_COMPOSITOR != sway ]]; then
    xsession_launch env "$@"
    WAYLAND_LAST_PID=$XSESSION_LAST_PID
    return 0
  fi
  WAYLAND_EXECS=$((WAYLAND_EXECS + 1))
  local script="$XDG_RUNTIME_DIR/exec-$WAYLAND_EXECS" pidfile="$XDG_RUNTIME_DIR/exec-$WAYLAND_EXECS.pid"
  {
    echo '#!/bin/sh'
    printf 'echo $$ >%q\nexec env' "$pidfile"
    printf ' %q' "$@"
    echo
  } >"$script"
  chmod 755 "$script"
  swaymsg exec "$script" >/dev/null
  eventually 5 test -s "$pidfile" || { wayland_log "sway did not run $*"; return 1; }
  WAYLAND_LAST_PID=$(<"$pidfile")
  XSESSION_PIDS+=("$WAYLAND_LAST_PID")
}

# Verrabel on Xwayland, as e2e_launch does it on the Xvfb; its PID in E2E_APP.
wayland_launch() {
  wayland_exec QT_QPA_PLATFORM=xcb "$@" "$E2E_BUILD/verrabel"
  # shellcheck disable=SC2034 # the scenario's, as with e2e_launch
  E2E_APP=$WAYLAND_LAST_PID
}

# A native Wayland GTK program, such as thunar DIR.
wayland_native() { wayland_exec GDK_BACKEND=wayland "$@"; }

# wayland_own PATH...: lets the session's programs write there; under sway they are not root.
wayland_own() {
  if [[ $WAYLAND_COMPOSITOR == sway ]]; then chown -R "$WAYLAND_USER:" "$@"; fi
}

# wayland_thunar_size WIDTH HEIGHT: the size thunar's next window opens with.
wayland_thunar_size() {
  local channel="$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
  mkdir -p "$channel"
  cat >"$channel/thunar.xml" <<EOF
<?xml version="1.0" encoding="UTF-8"?>
<channel name="thunar" version="1.0">
  <property name="last-window-width" type="int" value="$1"/>
  <property name="last-window-height" type="int" value="$2"/>
  <property name="last-window-maximized" type="bool" value="false"/>
</channel>
EOF
  wayland_own "$XDG_CONFIG_HOME"
}

# wayland_place CRITERIA X Y WIDTH HEIGHT: puts the windows sway's CRITERIA match, such as
# 'app_id="thunar"', there, also those that open later (sway only; under mutter a 700x450 thunar
# opens at 99,8, and lib.sh's place_window places X11 windows).
wayland_place() {
  local commands="floating enable, resize set $4 $5, move absolute position $2 $3"
  swaymsg "for_window [$1] \"$commands\"" >/dev/null
  swaymsg "[$1] $commands" >/dev/null 2>&1 || true
}

# wayland_window CRITERIA: there is such a window (sway).
wayland_window() { swaymsg "[$1] nop" >/dev/null 2>&1; }

# wayland_pixel X Y: the colour on screen there.
wayland_pixel() { outer import -window root -crop "1x1+$1+$2" -format '%[pixel:p{0,0}]' info:; }

# wayland_until_drawn X Y COMMAND...: runs COMMAND and waits until the screen at X Y changes,
# such as where a native window will open: nothing else tells of one under mutter.
wayland_until_drawn() {
  local x=$1 y=$2 before
  shift 2
  before=$(wayland_pixel "$x" "$y")
  "$@"
  eventually 20 wayland_pixel_not "$x" "$y" "$before" || fail "nothing was drawn at $x,$y"
}

wayland_pixel_not() { [[ $(wayland_pixel "$1" "$2") != "$3" ]]; }

# Stops what started after the compositor, then the compositor, and waits for it: mutter and
# sway remove Xwayland's lock files and sockets only while the Xvfb is still there. sway's
# runuser and dbus-run-session follow it by themselves; a runuser that is killed itself waits
# 2 s and leaves the session bus behind.
wayland_stop() {
  [[ -n "$WAYLAND_PID" ]] || return 0
  if [[ -n "${E2E_ARTIFACTS:-}" && -d "$E2E_ARTIFACTS" ]]; then
    # Kept with a failure's logs: Xwayland's root gives e2e_finish no failure.png.
    wayland_screenshot "$E2E_ARTIFACTS/screen.png" 2>/dev/null || true
  fi
  local i pid
  for ((i = ${#XSESSION_PIDS[@]} - 1; i >= WAYLAND_FIRST; i--)); do
    pid=${XSESSION_PIDS[i]}
    case $pid in
      "$WAYLAND_PID" | "$WAYLAND_LEADER" | "$WAYLAND_XWAYLAND_PID") ;;
      *) kill "$pid" 2>/dev/null || true ;;
    esac
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
