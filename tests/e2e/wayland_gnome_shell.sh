#!/usr/bin/env bash
# In GNOME Shell, headless, Verrabel on Xwayland under the top bar, run like every application
# there by the session's own user, and moved by a mouse that moves as real ones do (relative
# steps): the clock in the bar opens its calendar whether the shelf is open or not, and the open
# calendar keeps the pointer from the shelf; pushed against the top edge at the centre, the
# pointer or a drag from a native file manager brings the shelf down below the bar; it stays
# while the pointer moves down into it and goes when the pointer leaves; rows go to native
# applications (thunar, and Nautilus, which lives through it) and to X11 ones; a file opened
# from the shelf gets the session's own environment, not Verrabel's choice of Qt platform.
source "$(dirname "$0")/lib.sh"
e2e_begin wayland_gnome_shell welcomed
SHELF_TOP=32

mkdir -p "$HOME/native" "$HOME/Target" "$HOME/Nautilus" "$HOME/bin" "$XDG_DATA_HOME/applications"
echo "from a native window" >"$HOME/native/native.txt"
echo "opened" >"$E2E_DESKTOP/a.txt"
# The default application for text notes the environment it was started with.
printf '#!/bin/sh\necho "QT_QPA_PLATFORM=${QT_QPA_PLATFORM-unset}" >"$HOME/opened.env"\n' \
  >"$HOME/bin/record-open"
chmod +x "$HOME/bin/record-open"
printf '[Desktop Entry]\nType=Application\nName=Recorder\nExec=%s %%f\nMimeType=text/plain;\n' \
  "$HOME/bin/record-open" >"$XDG_DATA_HOME/applications/recorder.desktop"
printf '[Default Applications]\ntext/plain=recorder.desktop\n' >"$XDG_CONFIG_HOME/mimeapps.list"
wayland_thunar_size 700 450
wayland_gnome_headless_start
mouse_start
mouse key 0xff1b
expect "Escape leaves the Overview" eventually 10 wayland_gnome_desktop

# A 700x450 thunar opens centred under the bar, its first icon around (678, 412).
wayland_until_drawn 800 600 wayland_native thunar "$HOME/native"
e2e_launch
sleep 1

# GNOME Shell's calendar hangs from the clock, wider than the shelf.
backdrop=$(wayland_pixel 480 200)
calendar_open() { [[ $(wayland_pixel 480 200) != "$backdrop" ]]; }
calendar_shut() { ! calendar_open; }
glide 800 16
sleep 0.5
expect "the clock in the bar is not the shelf's" shelf_hidden
mouse click
expect "the clock opens its calendar" eventually 2 calendar_open
glide 800 0
mouse by 0 -20
sleep 0.5
expect "the open calendar keeps the pointer from the shelf" shelf_hidden
glide 800 16
mouse key 0xff1b
expect "Escape closes the calendar" eventually 2 calendar_shut

# After the calendar: the shelf hangs below the bar.
expect_hover
glide 800 200
sleep 0.5
expect "it stays while the pointer moves down into it across the bar" shelf_mapped
glide 800 16
mouse click
expect "the clock opens its calendar with the shelf open" eventually 2 calendar_open
mouse key 0xff1b
expect "the calendar closes again" eventually 2 calendar_shut
glide 800 600
expect "after the calendar, the shelf goes when the pointer leaves it" eventually 1 shelf_hidden
glide 800 0
expect "the top edge brings it down again" eventually 1 shelf_mapped
glide 800 600
expect "and it goes again when the pointer leaves it" eventually 1 shelf_hidden

# The drop lands only if the shelf came down under the drag at the top edge.
mouse_drag 678 412 800 0 800 200
expect "a file dragged from native thunar is saved" eventually 5 desktop_has native.txt
sleep 1
expect "the shelf stays under the pointer that dropped" shelf_mapped

# Rows go to native applications, through mutter's bridge, and to X11 ones.
mouse_drag "$FIRST_ROW_X" "$(first_row_y)" 1000 650
expect "a row dragged into native thunar is copied" eventually 5 test -e "$HOME/native/a.txt"
wayland_x11 pcmanfm --new-win "$HOME/Target"
place_window '^Target$' 850 500 700 450
bring_shelf_down
mouse_drag "$FIRST_ROW_X" "$(first_row_y)" 1200 800
expect "a row dragged into an X11 file manager is copied" eventually 5 test -e "$HOME/Target/a.txt"
wayland_until_drawn 400 270 wayland_native nautilus --new-window "$HOME/Nautilus"
nautilus_pid=$WAYLAND_LAST_PID
bring_shelf_down
mouse_drag "$FIRST_ROW_X" "$(first_row_y)" 800 600
expect "a row dragged into Nautilus is copied" eventually 5 test -e "$HOME/Nautilus/a.txt"
sleep 1
expect "Nautilus lives through the drop" kill -0 "$nautilus_pid"

bring_shelf_down
glide 800 200
sleep 0.3
glide "$FIRST_ROW_X" "$(first_row_y)"
sleep 0.3
mouse click 2
expect "a double-click opens the file" eventually 5 test -s "$HOME/opened.env"
expect "with the session's own Qt platform" grep -qx 'QT_QPA_PLATFORM=unset' "$HOME/opened.env"
