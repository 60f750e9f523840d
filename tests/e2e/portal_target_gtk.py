"""A native Wayland drop target that takes files as sandboxed applications do.

    portal_target_gtk.py LOG
        Opens a 300 x 200 GTK 4 window titled "portal target" that takes a drop only by its
        document-portal transfer key, reads that key alone and retrieves the files with
        RetrieveFiles. Writes "ready" to LOG once it is up, then each path it got and whether
        it could read it (or why it got none), and ends."""

import os
import sys

import gi
gi.require_version("Gdk", "4.0")
gi.require_version("Gtk", "4.0")
from gi.repository import Gdk, Gio, GLib, Gtk

TYPE = "application/vnd.portal.filetransfer"


def main(log_path):
    log = open(log_path, "a", buffering=1)
    loop = GLib.MainLoop()

    def retrieve(drop, key):
        key = key.rstrip(b"\0").decode()
        paths = []
        if key:
            reply = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
                "org.freedesktop.portal.Documents", "/org/freedesktop/portal/documents",
                "org.freedesktop.portal.FileTransfer", "RetrieveFiles",
                GLib.Variant("(sa{sv})", (key, {})), None, 0, 5000, None)
            paths = reply.unpack()[0]
        drop.finish(Gdk.DragAction.COPY if paths else 0)
        for path in paths:
            log.write(f"{path} {'readable' if os.access(path, os.R_OK) else 'unreadable'}\n")
        if not paths:
            log.write("no files\n" if key else "no key\n")
        loop.quit()

    def dropped(_target, drop, _x, _y):
        key = []

        # Read as GTK applications do, without blocking: the source's answer comes by way of
        # the compositor, and a compositor may wait for this client before it passes it on.
        def take(stream, result):
            try:
                chunk = stream.read_bytes_finish(result).get_data()
            except GLib.Error:
                chunk = b""
            if chunk:
                key.append(chunk)
                stream.read_bytes_async(4096, GLib.PRIORITY_DEFAULT, None, take)
            else:
                retrieve(drop, b"".join(key))

        def opened(_drop, result):
            try:
                stream, _ = drop.read_finish(result)
            except GLib.Error:
                retrieve(drop, b"")
                return
            stream.read_bytes_async(4096, GLib.PRIORITY_DEFAULT, None, take)

        drop.read_async([TYPE], GLib.PRIORITY_DEFAULT, None, opened)
        return True

    target = Gtk.DropTargetAsync.new(Gdk.ContentFormats.new([TYPE]), Gdk.DragAction.COPY)
    target.connect("drag-enter", lambda *_: Gdk.DragAction.COPY)
    target.connect("drag-motion", lambda *_: Gdk.DragAction.COPY)
    target.connect("drop", dropped)
    Gtk.init()
    window = Gtk.Window(title="portal target", default_width=300, default_height=200)
    window.add_controller(target)
    window.connect("map", lambda *_: log.write("ready\n"))
    window.present()
    GLib.timeout_add_seconds(120, loop.quit)
    loop.run()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
