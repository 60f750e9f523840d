# shellcheck shell=bash
# A private X session for running Verrabel headless: Xvfb, a D-Bus session bus and openbox.
# Source this file, then:  xsession_start [WIDTHxHEIGHT]  ...  xsession_stop
# xsession_start exports DISPLAY and DBUS_SESSION_BUS_ADDRESS. Every process it or
# xsession_launch starts is stopped by its PID in xsession_stop, the latest first; so are the
# ones D-Bus started on the session's behalf, found by a mark in their environment.

XSESSION_PIDS=()

xsession_log() { printf 'xsession: %s\n' "$*" >&2; }

# eventually SECONDS COMMAND...: succeeds as soon as COMMAND does, fails after about SECONDS.
eventually() {
  local tries
  tries=$(awk -v seconds="$1" 'BEGIN { print int(seconds / 0.05) + 1 }')
  shift
  until "$@"; do
    ((--tries > 0)) || return 1
    sleep 0.05
  done
}

# Gone, or a zombie that nobody reaps (a daemon's parent may have left).
process_gone() {
  local state
  state=$(awk '{print $3}' "/proc/$1/stat" 2>/dev/null) || return 0
  [[ -z "$state" || "$state" == Z ]]
}

xsession_start() {
  local size=${1:-1600x1000} display_file tries=0
  # The session is ours alone: a Wayland desktop that the script runs on is not part of it.
  unset WAYLAND_DISPLAY WAYLAND_SOCKET
  export XSESSION_MARK="xsession-$$-$RANDOM$RANDOM"
  # Xvfb picks a free display itself and tells which: safe with sessions running side by side.
  display_file=$(mktemp)
  # shellcheck disable=SC2086 # XSESSION_XVFB_ARGS: further words for Xvfb, split as such
  Xvfb -displayfd 3 -screen 0 "${size}x24" -nolisten tcp -noreset ${XSESSION_XVFB_ARGS:-} 3>"$display_file" \
    >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  XSESSION_PIDS+=($!)
  until [[ -s "$display_file" ]]; do
    tries=$((tries + 1))
    if ((tries > 100)); then
      xsession_log "Xvfb did not come up"
      rm -f "$display_file"
      xsession_stop
      return 1
    fi
    sleep 0.1
  done
  export DISPLAY=":$(head -n 1 "$display_file")"
  rm -f "$display_file"
  until xdpyinfo >/dev/null 2>&1; do sleep 0.1; done

  # The session bus looks for services in a folder of the session's first: a scenario chooses
  # there which program answers a name that several provide (xsession_bus_service).
  local bus
  XSESSION_BUS=$(mktemp -d)
  mkdir "$XSESSION_BUS/services"
  cat >"$XSESSION_BUS/session.conf" <<EOF_BUS
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <servicedir>$XSESSION_BUS/services</servicedir>
  <include>/usr/share/dbus-1/session.conf</include>
</busconfig>
EOF_BUS
  bus=$(dbus-launch --sh-syntax --config-file="$XSESSION_BUS/session.conf") ||
    { xsession_log "dbus-launch failed"; xsession_stop; return 1; }
  eval "$bus"
  XSESSION_PIDS+=("$DBUS_SESSION_BUS_PID")
  # Qt and GTK programs would otherwise each start an accessibility bus that never exits.
  export NO_AT_BRIDGE=1

  openbox >/dev/null 2>&1 &
  XSESSION_PIDS+=($!)
  tries=0
  until xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; do
    tries=$((tries + 1))
    ((tries > 50)) && break
    sleep 0.1
  done
}

# xsession_bus_service NAME FILE: the session bus starts the service NAME as FILE, a .service
# file, says, whatever else provides it (thunar and Nautilus both show files over D-Bus).
xsession_bus_service() {
  sed "s/^Name=.*/Name=$1/" "$2" >"$XSESSION_BUS/services/$1.service"
}

# A throw-away home for one run of Verrabel: HOME with an empty Desktop, XDG config and
# runtime folders, all below DIR. With "welcomed", it is not the first launch any more.
xsession_home() {
  local dir=${1:?xsession_home DIR [welcomed]}
  export HOME="$dir" XDG_CONFIG_HOME="$dir/config" XDG_DATA_HOME="$dir/data"
  export XDG_CACHE_HOME="$dir/cache" XDG_RUNTIME_DIR="$dir/runtime"
  mkdir -p "$HOME/Desktop" "$XDG_CONFIG_HOME/Verrabel" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"
  mkdir -p -m 700 "$XDG_RUNTIME_DIR"
  if [[ "${2:-}" == welcomed ]]; then
    printf '[General]\ndidWelcome=true\n' >"$XDG_CONFIG_HOME/Verrabel/Verrabel.conf"
  fi
}

# For the rest of the calling script: a session of SIZE with a throw-away home (see
# xsession_home, whose second argument follows), both gone when the script exits.
xsession_for_script() {
  XSESSION_STATE=$(mktemp -d)
  trap 'xsession_stop; rm -rf "$XSESSION_STATE"' EXIT
  xsession_start "$1"
  xsession_home "$XSESSION_STATE" "${2:-}"
}

# managed_window NAME: the last visible window of that title that a window manager manages (it
# carries WM_STATE). Mutter's frames client titles each frame as its window, and a move of the
# frame is lost.
managed_window() {
  local window
  for window in $(xdotool search --onlyvisible --name "$1" 2>/dev/null); do
    if xprop -id "$window" WM_STATE 2>/dev/null | grep -q '^WM_STATE(WM_STATE)'; then
      echo "$window"
    fi
  done | tail -n 1
}

# sized WINDOW WIDTH HEIGHT: the window has that size.
sized() { xdotool getwindowgeometry "$1" 2>/dev/null | grep -q "Geometry: $2x$3\$"; }

# place_window NAME X Y WIDTH HEIGHT: waits for a visible window of that title and puts it there,
# again where its program or window manager sized it anew meanwhile. xdotool's search gives up
# when a window goes while it looks, as a second pcmanfm's does.
place_window() {
  local window="" tries=40 moves=3
  until [[ -n "$window" ]] || ((tries-- == 0)); do
    window=$(managed_window "$1")
    [[ -n "$window" ]] || sleep 0.5
  done
  [[ -n "$window" ]] || { xsession_log "no window titled $1"; return 1; }
  until ((moves-- == 0)); do
    xdotool windowmove "$window" "$2" "$3" windowsize "$window" "$4" "$5"
    if eventually 2 sized "$window" "$4" "$5"; then break; fi
  done
  sleep 1
}

# Starts a program in the session, to be stopped with it; its PID is in XSESSION_LAST_PID.
# Its output goes to $XSESSION_LOG when set, else nowhere.
xsession_launch() {
  "$@" >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  XSESSION_LAST_PID=$!
  XSESSION_PIDS+=("$XSESSION_LAST_PID")
}

# The PIDs of processes that carry this session's mark and are not this shell.
xsession_marked_pids() {
  local process environment
  [[ -n "${XSESSION_MARK:-}" ]] || return 0
  for process in /proc/[0-9]*; do
    process=${process#/proc/}
    [[ $process == "$$" || $process == "$BASHPID" ]] && continue
    { mapfile -d '' environment <"/proc/$process/environ"; } 2>/dev/null || continue
    [[ " ${environment[*]} " == *" XSESSION_MARK=$XSESSION_MARK "* ]] && echo "$process"
  done
  return 0 # whatever the last process was
}

xsession_stop() {
  local i pid
  for ((i = ${#XSESSION_PIDS[@]} - 1; i >= 0; i--)); do
    pid=${XSESSION_PIDS[i]}
    kill "$pid" 2>/dev/null || true
  done
  for pid in "${XSESSION_PIDS[@]}"; do
    # Only our own children can be waited for; the bus daemon is not one of them.
    wait "$pid" 2>/dev/null || true
  done
  XSESSION_PIDS=()
  [[ -z "${XSESSION_BUS:-}" ]] || rm -rf "$XSESSION_BUS"
  # What D-Bus activated for the session (an accessibility bus, a file manager) goes too.
  local left
  left=$(xsession_marked_pids)
  if [[ -n "$left" ]]; then
    # shellcheck disable=SC2086
    kill $left 2>/dev/null || true
    sleep 0.5
    left=$(xsession_marked_pids)
    # shellcheck disable=SC2086
    [[ -z "$left" ]] || kill -9 $left 2>/dev/null || true
  fi
}
