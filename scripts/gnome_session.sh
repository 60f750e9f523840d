# shellcheck shell=bash
# GNOME Shell for wayland_session.sh, which sources this file: nested in the Xvfb as root (the
# benchmarks and the pictures), or headless as the session's user (the end-to-end scenario), and
# what only the Shell itself can tell there.

# wayland_shell_screenshot FILE [X Y WIDTH HEIGHT]: the Shell writes what it shows there (or in
# that area), as WAYLAND_USER, into the runtime folder first.
wayland_shell_screenshot() {
  local shot="$XDG_RUNTIME_DIR/shot-$BASHPID.png"
  wayland_as_user /usr/bin/python3 "$(wayland_user_readable "$WAYLAND_SCRIPTS/shell_screenshot.py")" \
    "$shot" "${@:2}" && mv "$shot" "$1"
}

# GNOME Shell nested in the Xvfb, as root, for the benchmarks and the pictures. It asks logind on
# the system bus; a private bus stands in. The dummy mode is the nested output's size; without it
# mutter opens 800x600. It starts in the Overview, which Escape leaves. Its fade changes every
# pixel: what waits for a window to be drawn starts once it is over.
wayland_gnome_shell_start() {
  wayland_take_screen || return 1
  WAYLAND_COMPOSITOR=gnome-shell
  local system_bus
  system_bus=$(dbus-daemon --config-file=/usr/share/dbus-1/session.conf --fork \
    --print-address=1 --print-pid=1) || wayland_fail "no private system bus" || return 1
  XSESSION_PIDS+=("$(sed -n 2p <<<"$system_bus")")
  export WAYLAND_DISPLAY=wayland-e2e
  # mutter 48 centres new windows (43 did not): windows are placed as 43 does. The session bus
  # starts dconf with the throw-away home.
  dbus-update-activation-environment HOME XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME \
    XDG_RUNTIME_DIR
  gsettings set org.gnome.mutter center-new-windows false
  DBUS_SYSTEM_BUS_ADDRESS="$(head -n 1 <<<"$system_bus")" MUTTER_DEBUG_DUMMY_MODE_SPECS=1600x1000 \
    gnome-shell --wayland --nested --wayland-display "$WAYLAND_DISPLAY" \
    >>"${XSESSION_LOG:-/dev/null}" 2>&1 &
  WAYLAND_PID=$! WAYLAND_LEADER=$!
  XSESSION_PIDS+=("$WAYLAND_PID")
  wayland_use_xwayland || return 1
  # The session bus came before the throw-away home: what it starts would use root's.
  dbus-update-activation-environment HOME XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME \
    XDG_RUNTIME_DIR DISPLAY XAUTHORITY WAYLAND_DISPLAY XDG_SESSION_TYPE
  # The Overview first, then the work area under the top bar.
  workarea() { timeout 5 xprop -root _NET_WORKAREA 2>/dev/null | grep -q ' = 0, 32,'; }
  eventually 20 workarea || wayland_fail "GNOME Shell's top bar did not come" || return 1
  eventually 20 wayland_gnome_overview || wayland_fail "GNOME Shell's Overview did not come" ||
    return 1
  outer xdotool key Escape
  eventually 10 wayland_gnome_desktop || wayland_fail "Escape did not leave the Overview"
}

# Whether GNOME Shell shows its Overview; it says no only once the Overview has faded out. A
# shell that does not answer is no answer, not a wait.
wayland_gnome_overview() {
  local user=()
  [[ -z $WAYLAND_BUS ]] || user=(wayland_as_user)
  "${user[@]}" gdbus call --session --timeout 2 --dest org.gnome.Shell --object-path /org/gnome/Shell \
    --method org.freedesktop.DBus.Properties.Get org.gnome.Shell OverviewActive 2>/dev/null |
    grep -q true
}
wayland_gnome_desktop() { ! wayland_gnome_overview; }

# GNOME Shell headless on a virtual monitor of its own, as WAYLAND_USER (Nautilus 51 refuses
# root), who then owns the throw-away HOME, with a session bus of its own and a private one that
# stands in for logind's system bus; both go with the shell. Nothing but its remote-desktop
# interface moves its pointer (tests/e2e/remote_mouse.py), and only the Shell's screenshot call
# shows what is on screen. New windows open centred, on every release. It starts in the
# Overview: the caller leaves it with a key. With a UUID, that extension is enabled for the user
# before the shell starts, which then loads it from the user's or the system's folders. The
# virtual monitor has WAYLAND_GNOME_MONITOR's size in pixels (1600x1000 unless set).
wayland_gnome_headless_start() {
  local enable=
  [[ -z ${1-} ]] || enable="gsettings set org.gnome.shell disable-user-extensions false
gsettings set org.gnome.shell enabled-extensions \"['$1']\""
  wayland_take_screen || return 1
  WAYLAND_COMPOSITOR=gnome-headless
  [[ $HOME == "${TMPDIR:-/tmp}"/?* ]] || wayland_fail "HOME $HOME is not a throw-away one" || return 1
  id -u "$WAYLAND_USER" >/dev/null 2>&1 ||
    useradd --system --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin "$WAYLAND_USER"
  chown -R "$WAYLAND_USER:" "$HOME" "$XDG_RUNTIME_DIR"
  export WAYLAND_DISPLAY=wayland-e2e
  local shell="$XDG_RUNTIME_DIR/gnome-shell"
  cat >"$shell" <<EOF_SHELL
#!/bin/sh
echo "\$\$ \$DBUS_SESSION_BUS_ADDRESS" >"\$0.started"
$enable
gsettings set org.gnome.mutter center-new-windows true
# The banner that says the screen cannot be locked here would hang over the top centre.
gsettings set org.gnome.desktop.notifications show-banners false
exec gnome-shell --headless --wayland --virtual-monitor ${WAYLAND_GNOME_MONITOR:-1600x1000} --wayland-display "\$WAYLAND_DISPLAY"
EOF_SHELL
  chmod 755 "$shell"
  # shellcheck disable=SC2016 # for the user's sh to expand
  xsession_launch wayland_as_user dbus-run-session -- sh -c \
    'DBUS_SYSTEM_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS exec dbus-run-session -- "$0"' "$shell"
  WAYLAND_LEADER=$XSESSION_LAST_PID
  eventually 10 test -s "$shell.started" || wayland_fail "GNOME Shell did not start" || return 1
  read -r WAYLAND_PID WAYLAND_BUS <"$shell.started"
  XSESSION_PIDS+=("$WAYLAND_PID")
  wayland_use_xwayland || return 1
  # Xwayland is the shell's to stop: killed first, it takes the shell with it, which then leaves
  # its X lock files behind.
  unset 'XSESSION_PIDS[-1]'
  eventually 20 wayland_gnome_overview || wayland_fail "GNOME Shell did not come up"
}
