"""A native window that covers the whole screen and notes where it is first clicked.

Usage: click_probe.py FILE [--fullscreen]. The first button press writes "X Y" (in the window's
coordinates) to FILE; the window then goes. It is ready once it has written "ready" to FILE, when
it is mapped (and fullscreen, when asked to be)."""

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


fullscreen = "--fullscreen" in sys.argv[2:]


def ready():
    with open(note, "w", encoding="utf-8") as out:
        out.write("ready\n")


def mapped(*_args):
    if not fullscreen:
        ready()


def state_changed(_widget, event):
    if fullscreen and event.new_window_state & 16:  # Gdk.WindowState.FULLSCREEN
        ready()


window.add_events(0x100)  # Gdk.EventMask.BUTTON_PRESS_MASK
window.connect("button-press-event", pressed)
window.connect("destroy", Gtk.main_quit)
window.connect("map-event", mapped)
window.connect("window-state-event", state_changed)
if fullscreen:
    window.fullscreen()
window.show_all()
Gtk.main()
