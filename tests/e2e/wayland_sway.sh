#!/usr/bin/env bash
# In a sway session (wlroots, nested), Verrabel on Xwayland (chosen: natively is the other
# scenario's): the shelf comes down at the top
# centre and goes; a drop from a native file manager lands, although wlroots hands its data over
# only while the drag moves; and the tray item is in waybar, started after Verrabel, as a
# StatusNotifierItem whose menu shows the shelf.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_sway welcomed
wayland_sway_start

mkdir -p "$HOME/native" "$XDG_CONFIG_HOME/waybar"
echo "from a native window" >"$HOME/native/from-native.txt"
echo '{ "position": "bottom", "height": 26, "modules-right": ["tray"] }' \
  >"$XDG_CONFIG_HOME/waybar/config"
wayland_own "$HOME/native" "$XDG_CONFIG_HOME"
outer xdotool mousemove 100 990
# Its first icon is at (336, 560).
wayland_place 'app_id="thunar"' 100 450 700 450
wayland_native thunar "$HOME/native"
expect "a native thunar" eventually 10 wayland_window 'app_id="thunar"'
e2e_launch VERRABEL_BACKEND=xwayland
sleep 1
expect_hover
outer xdotool mousemove 300 700
expect "onto a native window, it goes" eventually 1 shelf_hidden

# The drop lands only if the shelf came down under the drag at the top centre.
outer drag_via 336 560 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has from-native.txt

# The tray: a StatusNotifierItem in waybar, with the menu of the X11 one.
wayland_exec waybar
session_bus() {
  runuser -u "$WAYLAND_USER" -- env DBUS_SESSION_BUS_ADDRESS="$(tr '\0' '\n' <"/proc/$E2E_APP/environ" |
    sed -n 's/^DBUS_SESSION_BUS_ADDRESS=//p')" gdbus call --session "$@"
}
tray_item() {
  session_bus --dest org.kde.StatusNotifierWatcher --object-path /StatusNotifierWatcher \
    --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher \
    RegisteredStatusNotifierItems 2>/dev/null | grep -o "':[0-9.]*/StatusNotifierItem'"
}
tray_docked() { tray_item >/dev/null; }
expect "the item docks in waybar, started after Verrabel" eventually 8 tray_docked
item=$(tray_item | tr -d "'")
menu=$(session_bus --dest "${item%%/*}" --object-path "/${item#*/}" \
  --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierItem Menu |
  sed -E "s/.*'(.*)'.*/\1/")
layout=$(session_bus --dest "${item%%/*}" --object-path "$menu" \
  --method com.canonical.dbusmenu.GetLayout 0 -- -1 "@as []")
for title in 展开桌面文件 "在 Finder 中打开桌面" "退出 Verrabel"; do
  expect "the menu offers $title" grep -q "'label': <'$title'>" <<<"$layout"
done

expect_click_below_the_edge
