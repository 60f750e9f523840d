"""A mouse and keyboard for a headless GNOME Shell, through mutter's remote-desktop interface.
Its relative steps reach Xwayland as a real mouse's do.

    remote_mouse.py WIDTHxHEIGHT COMMANDS REPLIES

Reads one command a line from the pipe COMMANDS and answers each on REPLIES, with "ok" once done:
    to X Y        moves there as a hand does: whole pixels (mutter drops fractions), at most 8 at
                  a time, 8 ms apart
    at X Y        the same, as an absolute pointer does (a virtual machine's, a tablet's): to
                  places, not by distances; needs a PipeWire daemon for the screen cast that such
                  motion names
    by DX DY      the same, by so much; the screen's edges stop the pointer
    press | release | click [COUNT]      the left button
    key KEYSYM    a key, such as 0xff1b (Escape)
Relative motion is all there is without a screen cast, so the pointer's place is counted: it
starts pushed into the bottom-right corner (the top-left one is the Overview's)."""

import os
import sys
import time

from gi.repository import Gio, GLib

BTN_LEFT = 0x110
SESSION = "org.gnome.Mutter.RemoteDesktop.Session"
CAST = "org.gnome.Mutter.ScreenCast"
BUS = Gio.bus_get_sync(Gio.BusType.SESSION, None)


def call(path, interface, method, signature=None, *args):
    return BUS.call_sync("org.gnome.Mutter.RemoteDesktop", path, interface, method,
                         GLib.Variant(signature, args) if signature else None, None,
                         Gio.DBusCallFlags.NONE, -1, None)


class Mouse:
    def __init__(self, width, height):
        # The session lives as long as this connection.
        self.path = call("/org/gnome/Mutter/RemoteDesktop", "org.gnome.Mutter.RemoteDesktop",
                         "CreateSession").unpack()[0]
        self.stream = self.cast_stream()
        call(self.path, SESSION, "Start")
        # Wherever it is, a screen's width and height in small steps take it into the corner;
        # twice, as mutter 50 loses motion sent just after the session starts.
        self.width, self.height = width, height
        self.x = self.y = 0
        for _ in range(2):
            self.by(width, height, pause=0.001)

    def cast_stream(self):
        """A screen cast of the primary monitor in this session, which absolute motion names;
        none without a PipeWire daemon, which the cast needs to start at all."""
        if not os.path.exists(os.path.join(os.environ.get("XDG_RUNTIME_DIR", ""), "pipewire-0")):
            return None
        try:
            session_id = BUS.call_sync(
                "org.gnome.Mutter.RemoteDesktop", self.path, "org.freedesktop.DBus.Properties",
                "Get", GLib.Variant("(ss)", (SESSION, "SessionId")), None,
                Gio.DBusCallFlags.NONE, -1, None).unpack()[0]
            cast = BUS.call_sync(
                CAST, "/org/gnome/Mutter/ScreenCast", CAST, "CreateSession",
                GLib.Variant("(a{sv})", ({"remote-desktop-session-id":
                                          GLib.Variant("s", session_id)},)),
                None, Gio.DBusCallFlags.NONE, -1, None).unpack()[0]
            return BUS.call_sync(CAST, cast, CAST + ".Session", "RecordMonitor",
                                 GLib.Variant("(sa{sv})", ("", {})), None,
                                 Gio.DBusCallFlags.NONE, -1, None).unpack()[0]
        except GLib.Error:
            return None

    def at(self, x, y):
        if self.stream is None:
            raise ValueError("no screen cast for absolute motion")
        steps = max(abs(x - self.x), abs(y - self.y)) // 8 + 1
        start = (self.x, self.y)
        for i in range(1, steps + 1):
            call(self.path, SESSION, "NotifyPointerMotionAbsolute", "(sdd)", self.stream,
                 float(start[0] + (x - start[0]) * i // steps),
                 float(start[1] + (y - start[1]) * i // steps))
            time.sleep(0.008)
        self.x, self.y = x, y

    def by(self, dx, dy, pause=0.008):
        if dx == dy == 0:
            return
        steps = max(abs(dx), abs(dy)) // 8 + 1
        points = [(dx * i // steps, dy * i // steps) for i in range(steps + 1)]
        for i in range(1, steps + 1):
            args = GLib.Variant("(dd)", (float(points[i][0] - points[i - 1][0]),
                                         float(points[i][1] - points[i - 1][1])))
            if i < steps:
                # No waiting for mutter: the steps keep their pace on a busy machine. The last
                # one's answer comes after all of them were handled.
                BUS.call("org.gnome.Mutter.RemoteDesktop", self.path, SESSION,
                         "NotifyPointerMotionRelative", args, None, Gio.DBusCallFlags.NONE, -1,
                         None, None)
                time.sleep(pause)
            else:
                call(self.path, SESSION, "NotifyPointerMotionRelative", "(dd)", *args.unpack())
        self.x = min(max(self.x + dx, 0), self.width - 1)
        self.y = min(max(self.y + dy, 0), self.height - 1)

    def to(self, x, y):
        self.by(x - self.x, y - self.y)

    def button(self, pressed):
        call(self.path, SESSION, "NotifyPointerButton", "(ib)", BTN_LEFT, pressed)

    def click(self, count=1):
        for i in range(count):
            if i:
                time.sleep(0.08)
            self.button(True)
            self.button(False)

    def key(self, keysym):
        for pressed in (True, False):
            call(self.path, SESSION, "NotifyKeyboardKeysym", "(ub)", keysym, pressed)


def main(size, commands, replies):
    width, height = map(int, size.split("x"))
    mouse = Mouse(width, height)
    actions = {
        "to": lambda x, y: mouse.to(int(x), int(y)),
        "at": lambda x, y: mouse.at(int(x), int(y)),
        "by": lambda dx, dy: mouse.by(int(dx), int(dy)),
        "press": lambda: mouse.button(True),
        "release": lambda: mouse.button(False),
        "click": lambda count="1": mouse.click(int(count)),
        "key": lambda keysym: mouse.key(int(keysym, 0)),
    }
    with open(commands) as lines, open(replies, "w", buffering=1) as answers:
        for line in lines:
            name, *args = line.split()
            try:
                actions[name](*args)
                answers.write("ok\n")
            except (KeyError, TypeError, ValueError, GLib.Error) as error:
                answers.write(f"error {line.strip()}: {error}\n")
    call(mouse.path, SESSION, "Stop")


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
