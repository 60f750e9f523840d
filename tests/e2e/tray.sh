#!/usr/bin/env bash
# With a tray host, the tray item is there, even when the host comes after Verrabel; its menu
# shows the shelf and quits. A second start shows the running one's shelf and ends.
source "$(dirname "$0")/lib.sh"
e2e_begin tray welcomed

xdotool mousemove 100 500
e2e_launch
sleep 1
tray_host bottom
expect "the icon docks when a tray host appears later" eventually 8 tray_docked
expect "a click opens the menu" open_menu
xdotool key Down Return
expect "展开桌面文件 shows the shelf" eventually 2 shelf_mapped
xdotool mousemove 100 500
expect "the shelf goes again" eventually 5 shelf_hidden
expect "a second start ends with status 0" timeout 5 "$E2E_BUILD/verrabel"
expect "and the running one shows its shelf" eventually 2 shelf_mapped
shelves() { xwininfo -root -tree | grep -c '("verrabel" "Verrabel")  420x350+'; }
expect "one shelf, one tray icon" test "$(shelves)" -eq 1 -a "$(xwininfo -root -tree | grep -cE '\("verrabel" "Verrabel"\)  (1[6-9]|2[0-9]|3[0-2])x')" -eq 1
expect "the first Verrabel still runs" kill -0 "$E2E_APP"

# Another desktop session of the same user (a second seat, a remote desktop) on the same session
# bus: Verrabel started there has a shelf of its own there.
display_file=$(mktemp)
Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3>"$display_file" >/dev/null 2>&1 &
XSESSION_PIDS+=($!)
eventually 5 test -s "$display_file"
second=":$(head -n 1 "$display_file")"
rm -f "$display_file"
xsession_launch env DISPLAY="$second" XDG_SESSION_ID=verrabel-e2e-second "$E2E_BUILD/verrabel"
second_app=$XSESSION_LAST_PID
DISPLAY=$second xdotool mousemove 800 100 sleep 0.5 mousemove 800 0
expect "a second session's Verrabel shows its own shelf there" \
  eval 'DISPLAY=$second eventually 5 shelf_mapped'
expect "and keeps running beside the first" kill -0 "$second_app" "$E2E_APP"
expect "the menu opens again" open_menu
xdotool key ctrl+q
expect "Ctrl+Q in the menu quits Verrabel" eventually 5 bash -c "! kill -0 $E2E_APP 2>/dev/null"
