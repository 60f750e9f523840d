#!/usr/bin/env bash
# A Desktop of mixed names reads back, as a screen reader meets it, in a file browser's order;
# a new file appears within a second; tooltips show although the shelf is never active; a
# double-click opens a row's file with its default application, and the context menu shows it
# in the file manager over D-Bus.
source "$(dirname "$0")/lib.sh"
e2e_begin listing welcomed

for name in b.txt A.txt file10.txt file2.txt "报告.pdf" .hidden-one; do
  echo "$name" >"$E2E_DESKTOP/$name"
done
mkdir "$E2E_DESKTOP/Zebra"
# A default application for text files that only notes what it was asked to open.
mkdir -p "$HOME/bin" "$XDG_DATA_HOME/applications"
printf '#!/bin/sh\nprintf "%%s\\n" "$@" >>"$HOME/opened.log"\n' >"$HOME/bin/record-open"
chmod +x "$HOME/bin/record-open"
printf '[Desktop Entry]\nType=Application\nName=Recorder\nExec=%s %%f\nMimeType=text/plain;\n' \
  "$HOME/bin/record-open" >"$XDG_DATA_HOME/applications/recorder.desktop"
printf '[Default Applications]\ntext/plain=recorder.desktop\n' >"$XDG_CONFIG_HOME/mimeapps.list"
xsession_bus_service org.freedesktop.FileManager1 /usr/share/dbus-1/services/org.xfce.Thunar.FileManager1.service
xsession_launch bash -c "exec dbus-monitor --session \"interface='org.freedesktop.FileManager1'\" >'$E2E_ARTIFACTS/dbus.log'"
unset NO_AT_BRIDGE
# Start the accessibility bus before Verrabel, which joins it at start-up.
dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress >/dev/null
e2e_launch QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
expect "the shelf comes down" eventually 2 bring_shelf_down

# read_back: the list items, buttons and tooltips on the accessibility bus, one a line.
read_back() { /usr/bin/python3 "$E2E_SOURCE/tests/e2e/atspi_names.py" >"$E2E_ARTIFACTS/names.txt"; }
expected=$'item\tA.txt\nitem\tb.txt\nitem\tfile2.txt\nitem\tfile10.txt\nitem\tZebra\nitem\t报告.pdf\nbutton\t打开'
listed() { read_back && [[ "$(cat "$E2E_ARTIFACTS/names.txt")" == "$expected" ]]; }
expect "the rows and the button read back in order" eventually 5 listed
xdotool mousemove 800 200
echo new >"$E2E_DESKTOP/a new file.txt"
expect "a new file appears within a second" \
  /usr/bin/python3 "$E2E_SOURCE/tests/e2e/atspi_names.py" --wait-for "a new file.txt" 1

# tip_shows TEXT: a tooltip with that text is on screen.
tip_shows() { read_back && grep -qxF "tip	$1" "$E2E_ARTIFACTS/names.txt"; }
xdotool mousemove "$FIRST_ROW_X" "$(first_row_y)"
expect "a row's tooltip is its full path" eventually 4 tip_shows "$E2E_DESKTOP/a new file.txt"
xdotool mousemove 949 348 # the 打开 button
expect "the open button's tooltip shows" eventually 4 tip_shows "在 Finder 中打开桌面"

xdotool mousemove "$FIRST_ROW_X" "$(first_row_y)"
sleep 0.3
xdotool click --repeat 2 --delay 80 1
opened() { grep -qx "$E2E_DESKTOP/a new file.txt" "$HOME/opened.log" 2>/dev/null; }
expect "a double-click opens the file with its default application" eventually 5 opened
xdotool click 3
sleep 0.5
xdotool key Down Return
asked() { grep -q "file://$E2E_DESKTOP/a%20new%20file.txt" "$E2E_ARTIFACTS/dbus.log"; }
expect "在 Finder 中显示 asks the file manager to show the file" eventually 5 asked
thunar_open() { xdotool search --onlyvisible --class thunar >/dev/null; }
expect "the file manager comes up" eventually 10 thunar_open
