"""Mutter's own remote-desktop pointer and keyboard, for a headless GNOME Shell. Its relative
steps reach Xwayland as a real mouse's do; a nested session moves the pointer absolutely.

    remote_mouse.py COMMAND... with COMMAND one of: move DX DY | click | key KEYSYM

Moves go in steps of at most 10 px, 8 ms apart, as a hand moves. KEYSYM is a number (0xff1b
is Escape)."""

import sys
import time

from gi.repository import Gio, GLib

SESSION = "org.gnome.Mutter.RemoteDesktop.Session"
BUS = Gio.bus_get_sync(Gio.BusType.SESSION, None)


def call(path, interface, method, signature=None, *args):
    return BUS.call_sync("org.gnome.Mutter.RemoteDesktop", path, interface, method,
                         GLib.Variant(signature, args) if signature else None, None,
                         Gio.DBusCallFlags.NONE, -1, None)


def main(commands):
    # The session lives as long as this connection.
    path = call("/org/gnome/Mutter/RemoteDesktop", "org.gnome.Mutter.RemoteDesktop",
                "CreateSession").unpack()[0]
    call(path, SESSION, "Start")
    while commands:
        command = commands.pop(0)
        if command == "move":
            dx, dy = int(commands.pop(0)), int(commands.pop(0))
            steps = max(abs(dx), abs(dy)) // 10 + 1
            for _ in range(steps):
                call(path, SESSION, "NotifyPointerMotionRelative", "(dd)", dx / steps, dy / steps)
                time.sleep(0.008)
        elif command == "click":
            for pressed in (True, False):
                call(path, SESSION, "NotifyPointerButton", "(ib)", 0x110, pressed)  # BTN_LEFT
        elif command == "key":
            keysym = int(commands.pop(0), 0)
            for pressed in (True, False):
                call(path, SESSION, "NotifyKeyboardKeysym", "(ub)", keysym, pressed)
        else:
            sys.exit(__doc__)
    call(path, SESSION, "Stop")


if __name__ == "__main__":
    main(sys.argv[1:])
