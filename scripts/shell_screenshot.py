"""What GNOME Shell shows, from the Shell itself: a headless shell has no other screen to read.

    shell_screenshot.py FILE [X Y WIDTH HEIGHT]

Writes a PNG of the whole screen, or of that area. The Shell answers only a client that owns the
media keys' name, and checks the caller's own connection: both happen on one."""

import sys

from gi.repository import Gio, GLib


def main(path, *area):
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    owned = bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                          "RequestName",
                          GLib.Variant("(su)", ("org.gnome.SettingsDaemon.MediaKeys", 4)),
                          None, Gio.DBusCallFlags.NONE, -1, None).unpack()[0]
    if owned not in (1, 4):  # primary owner, or already
        sys.exit("shell_screenshot: the media keys' name is taken")
    if area:
        method, args = "ScreenshotArea", GLib.Variant("(iiiibs)", (*map(int, area), False, path))
    else:
        method, args = "Screenshot", GLib.Variant("(bbs)", (False, False, path))
    done, written = bus.call_sync("org.gnome.Shell.Screenshot", "/org/gnome/Shell/Screenshot",
                                  "org.gnome.Shell.Screenshot", method, args, None,
                                  Gio.DBusCallFlags.NONE, 10000, None).unpack()
    if not done:
        sys.exit(f"shell_screenshot: the Shell wrote nothing to {written}")


if __name__ == "__main__":
    if len(sys.argv) not in (2, 6):
        sys.exit(__doc__)
    main(*sys.argv[1:])
