#!/usr/bin/env bash
# In GNOME Shell 45 and later, headless, with Verrabel's own extension installed as
# `make install` installs it and enabled: the top edge at the centre is the shell's. A push there
# brings the shelf down under the bar while a click at the very top row stays the clock's; the
# shelf goes when the pointer leaves, also after the calendar was open, and never depends on
# Xwayland seeing the pointer, whether it moves as a mouse or jumps as an absolute pointer; a
# fullscreen native window gets neither shelf nor lost clicks; the menu is in the top bar.
source "$(dirname "$0")/lib.sh"
UUID=verrabel@verrabel.org
shell_major=$(gnome-shell --version 2>/dev/null | grep -oE '[0-9]+' | head -n 1)
if ((${shell_major:-0} < 45)); then
  echo "e2e: wayland_gnome_extension skipped: GNOME Shell ${shell_major:-none} loads no ES-module extensions"
  exit 77
fi
e2e_begin wayland_gnome_extension welcomed
SHELF_TOP=32
mkdir -p "$HOME/native"
echo "from a native window" >"$HOME/native/native.txt"
wayland_thunar_size 700 450

# The default application for folders notes what it was asked to open.
mkdir -p "$HOME/bin" "$XDG_DATA_HOME/applications"
printf '#!/bin/sh\necho "$1" >>"$HOME/opened"\n' >"$HOME/bin/record-open"
chmod +x "$HOME/bin/record-open"
printf '[Desktop Entry]\nType=Application\nName=Recorder\nExec=%s %%u\nMimeType=inode/directory;\n' \
  "$HOME/bin/record-open" >"$XDG_DATA_HOME/applications/recorder.desktop"
printf '[Default Applications]\ninode/directory=recorder.desktop\n' >"$XDG_CONFIG_HOME/mimeapps.list"

# Installed under a prefix of the scenario's own, which the shell looks into as into /usr.
cmake --install "$E2E_BUILD" --component gnome_extension --prefix "$HOME/prefix" >/dev/null
export XDG_DATA_DIRS="$HOME/prefix/share:${XDG_DATA_DIRS:-/usr/local/share:/usr/share}"
wayland_gnome_headless_start "$UUID"
# The shell's screen casts, which absolute motion names, want a PipeWire daemon.
wayland_exec pipewire
mouse_start
mouse key 0xff1b
expect "Escape leaves the Overview" eventually 10 wayland_gnome_desktop
extension_active() { wayland_as_user gnome-extensions info "$UUID" | grep -q 'State: ACTIVE'; }
expect "the shell runs the extension" eventually 5 extension_active
bar_before="$E2E_STATE/bar-before.png"
wayland_shell_screenshot "$bar_before" 900 0 700 32
e2e_launch XDG_CURRENT_DESKTOP=GNOME # as a GNOME session has it
expect "Verrabel says it uses the extension" \
  eventually 5 grep -q '顶部边缘由 GNOME Shell 扩展' "$XSESSION_LOG"
sleep 1

wayland_until_drawn 800 600 wayland_native thunar "$HOME/native"
thunar_pid=$WAYLAND_LAST_PID
backdrop=$(wayland_pixel 480 200)
calendar_open() { [[ $(wayland_pixel 480 200) != "$backdrop" ]]; }
calendar_shut() { ! calendar_open; }
# The clock, clicked with the pointer slammed against the top: its calendar, and no shelf.
glide 800 0
mouse click
expect "a click at the top row opens the clock's calendar" eventually 2 calendar_open
sleep 0.5
expect "and brings no shelf" shelf_hidden
mouse key 0xff1b
expect "Escape closes the calendar" eventually 2 calendar_shut

# A push brings the shelf down below the bar; it stays on the way down and goes away from it.
expect_hover
glide 800 600
expect "away from it, it goes" eventually 1 shelf_hidden

# After the calendar, the shelf still goes when the pointer leaves: the shell tells where it is.
glide 800 0
mouse click
expect "the calendar opens again" eventually 2 calendar_open
mouse key 0xff1b
expect "and closes" eventually 2 calendar_shut
bring_shelf_down
glide 800 200
sleep 0.3
glide 200 700
expect "after the calendar, the shelf goes when the pointer leaves it" eventually 1 shelf_hidden

# A file dragged from a native file manager and pushed against the edge brings the shelf down
# under the drag, and lands. A 700x450 thunar opens centred under the bar, its first icon around
# (678, 412).
mouse_pick_up 678 412
push_top_centre
expect "a drag pushed against the edge brings the shelf down" eventually 2 shelf_mapped
mouse_let_go 800 200
expect "the file dropped on it is saved" eventually 5 desktop_has native.txt
kill "$thunar_pid"

# An absolute pointer (a virtual machine's, a tablet's) pushes no barrier: resting on the edge
# brings the shelf down, a click there is still the clock's, and leaving closes it, also after
# the calendar, where Xwayland never tells an X client the pointer left.
mouse at 800 500
mouse at 800 0
mouse click
expect "an absolute pointer's click at the top row opens the calendar" eventually 2 calendar_open
sleep 0.5 # longer than a rest on the edge takes to open the shelf
expect "and brings no shelf" shelf_hidden
mouse key 0xff1b
expect "the calendar closes" eventually 2 calendar_shut
mouse at 800 500
mouse at 800 0
expect "an absolute pointer resting on the edge brings the shelf down" eventually 2 shelf_mapped
mouse at 800 200
sleep 0.5
expect "it stays with the pointer in it" shelf_mapped
mouse at 200 700
expect "and goes when the pointer jumps away" eventually 1 shelf_hidden

expect_fullscreen_left_alone

# The menu, in the top bar: where the bar changed right of the clock once Verrabel came.
bar_after="$E2E_STATE/bar-after.png"
indicator_x() {
  wayland_shell_screenshot "$bar_after" 900 0 700 32 &&
    convert "$bar_before" "$bar_after" -compose difference -composite -threshold 10% \
      -format '%@' info: 2>/dev/null | awk -F'[x+]' '$1 > 0 && $1 < 100 {print 900 + $3 + int($1 / 2)}'
}
expect "an indicator in the top bar" eventually 5 test -n "$(indicator_x)"
x=$(indicator_x)
# choose_entry N: the menu's Nth entry, chosen with the keyboard as the menu opens on a click.
choose_entry() {
  local i
  glide "$x" 16
  mouse click
  sleep 0.5
  for ((i = 0; i < $1; i++)); do mouse key 0xff54; done
  mouse key 0xff0d
}
glide 800 600
choose_entry 1
expect "its first entry shows the shelf" eventually 2 shelf_mapped
glide 800 600
expect "which goes again" eventually 4 shelf_hidden
choose_entry 2
expect "its second opens the Desktop folder" eventually 5 grep -qs Desktop "$HOME/opened"
choose_entry 3
expect "its last quits Verrabel" eventually 5 process_gone "$E2E_APP"
expect "and the indicator goes with it" eventually 5 test -z "$(indicator_x)"
