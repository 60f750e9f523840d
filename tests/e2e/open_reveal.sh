#!/usr/bin/env bash
# A double-click opens a row's file with its default application; the context menu shows it
# in the file manager over D-Bus.
source "$(dirname "$0")/lib.sh"
e2e_begin open_reveal welcomed

# A default application for text files that only notes what it was asked to open.
mkdir -p "$HOME/bin" "$XDG_DATA_HOME/applications"
printf '#!/bin/sh\nprintf "%%s\\n" "$@" >>"$HOME/opened.log"\n' >"$HOME/bin/record-open"
chmod +x "$HOME/bin/record-open"
printf '[Desktop Entry]\nType=Application\nName=Recorder\nExec=%s %%f\nMimeType=text/plain;\n' \
  "$HOME/bin/record-open" >"$XDG_DATA_HOME/applications/recorder.desktop"
printf '[Default Applications]\ntext/plain=recorder.desktop\n' >"$XDG_CONFIG_HOME/mimeapps.list"

echo hello >"$E2E_DESKTOP/note.txt"
xsession_launch bash -c "exec dbus-monitor --session \"interface='org.freedesktop.FileManager1'\" >'$E2E_ARTIFACTS/dbus.log'"
e2e_launch
sleep 1

expect "the shelf comes down" bring_shelf_down
xdotool mousemove "$FIRST_ROW_X" "$FIRST_ROW_Y"
sleep 0.3
xdotool click --repeat 2 --delay 80 1
opened() { grep -qx "$E2E_DESKTOP/note.txt" "$HOME/opened.log" 2>/dev/null; }
expect "a double-click opens the file with its default application" eventually 5 opened

xdotool click 3
sleep 0.5
xdotool key Down Return
asked() { grep -q "file://$E2E_DESKTOP/note.txt" "$E2E_ARTIFACTS/dbus.log"; }
expect "在 Finder 中显示 asks the file manager to show the file" eventually 5 asked
thunar_open() { xdotool search --onlyvisible --class thunar >/dev/null; }
expect "the file manager comes up" eventually 10 thunar_open
