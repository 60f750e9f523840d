"""A native window that covers the whole screen and notes where it is first clicked.

Usage: click_probe.py FILE [--fullscreen | --maximised]. The first button press writes "X Y" (in
the window's coordinates) to FILE; the window then goes. It is ready once it has written "ready" to
FILE, when it is mapped (and fullscreen or maximised, when asked to be)."""

import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

GLib.set_prgname("verrabel-click-probe")
note = sys.argv[1]
window = Gtk.Window(title="verrabel-click-probe")
window.set_default_size(1600, 1000)
window.set_decorated(False)


def pressed(_widget, event):
    with open(note, "w", encoding="utf-8") as out:
        out.write(f"{int(event.x)} {int(event.y)}\n")
    Gtk.main_quit()


# The window state that makes it ready: Gdk.WindowState.FULLSCREEN or MAXIMIZED.
wanted = {"--fullscreen": 16, "--maximised": 4}.get((sys.argv[2:] or [""])[0], 0)


def ready():
    with open(note, "w", encoding="utf-8") as out:
        out.write("ready\n")


def mapped(*_args):
    if not wanted:
        ready()


def state_changed(_widget, event):
    if wanted and event.new_window_state & wanted:
        ready()


window.add_events(0x100)  # Gdk.EventMask.BUTTON_PRESS_MASK
window.connect("button-press-event", pressed)
window.connect("destroy", Gtk.main_quit)
window.connect("map-event", mapped)
window.connect("window-state-event", state_changed)
if wanted == 16:
    window.fullscreen()
elif wanted == 4:
    window.maximize()
window.show_all()
Gtk.main()
