#!/usr/bin/env bash
# With a tray host, the tray item is there, even when the host comes after Verrabel; its menu
# shows the shelf and quits. A second start shows the running one's shelf and ends.
source "$(dirname "$0")/lib.sh"
e2e_begin tray welcomed

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
expect "the menu opens again" open_menu
xdotool key ctrl+q
expect "Ctrl+Q in the menu quits Verrabel" eventually 5 bash -c "! kill -0 $E2E_APP 2>/dev/null"
