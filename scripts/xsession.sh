# shellcheck shell=bash
# A private X session for running Verrabel headless: Xvfb, a D-Bus session bus and openbox.
# Source this file, then:  xsession_start [WIDTHxHEIGHT]  ...  xsession_stop
# xsession_start exports DISPLAY and DBUS_SESSION_BUS_ADDRESS; every process it or
# xsession_launch starts is stopped by its PID in xsession_stop, the latest first.

XSESSION_PIDS=()

xsession_log() { printf 'xsession: %s\n' "$*" >&2; }

xsession_free_display() {
  local n
  for n in $(seq 90 199); do
    if [[ ! -e /tmp/.X11-unix/X$n && ! -e /tmp/.X$n-lock ]]; then
      echo "$n"
      return 0
    fi
  done
  return 1
}

xsession_start() {
  local size=${1:-1600x1000} n
  n=$(xsession_free_display) || { xsession_log "no free display number"; return 1; }
  Xvfb ":$n" -screen 0 "${size}x24" -nolisten tcp -noreset >/dev/null 2>&1 &
  XSESSION_PIDS+=($!)
  export DISPLAY=":$n"
  local tries=0
  until xdpyinfo >/dev/null 2>&1; do
    tries=$((tries + 1))
    if ((tries > 100)); then
      xsession_log "Xvfb on $DISPLAY did not come up"
      xsession_stop
      return 1
    fi
    sleep 0.1
  done

  local bus
  bus=$(dbus-launch --sh-syntax) || { xsession_log "dbus-launch failed"; xsession_stop; return 1; }
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

# A throw-away home for one run of Verrabel: HOME with an empty Desktop, XDG config and
# runtime folders, all below DIR. With "welcomed", it is not the first launch any more.
xsession_home() {
  local dir=${1:?xsession_home DIR [welcomed]}
  export HOME="$dir" XDG_CONFIG_HOME="$dir/config" XDG_RUNTIME_DIR="$dir/runtime"
  mkdir -p "$HOME/Desktop" "$XDG_CONFIG_HOME/Verrabel"
  mkdir -p -m 700 "$XDG_RUNTIME_DIR"
  if [[ "${2:-}" == welcomed ]]; then
    printf '[General]\ndidWelcome=true\n' >"$XDG_CONFIG_HOME/Verrabel/Verrabel.conf"
  fi
}

# Starts a program in the session, to be stopped with it; its PID is in XSESSION_LAST_PID.
# Its output goes to $XSESSION_LOG when set, else nowhere.
xsession_launch() {
  "$@" >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  XSESSION_LAST_PID=$!
  XSESSION_PIDS+=("$XSESSION_LAST_PID")
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
}
