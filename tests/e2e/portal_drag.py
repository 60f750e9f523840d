"""Drags the way sandboxed applications do, through the document portal's file transfers.

    portal_drag.py source WINDOW X Y FILE [DELAY]
        Drops FILE onto WINDOW at the root point X,Y offering only a transfer key (the key GTK
        style, ending with a NUL), made with StartTransfer and AddFiles; with DELAY, the key
        is given that many seconds after it is asked for, as a slow sandboxed app does. Ends
        when the target has finished the drop, with status 0 when it took it.
    portal_drag.py target X Y
        Puts a 300 x 200 drop target at X,Y that asks a drop for its transfer key alone, when the
        drag lists one, as a sandboxed app does, and retrieves the files with RetrieveFiles. Prints each path it got
        and whether it could read it, then ends."""

import os
import sys
import time

import gi
gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib
from Xlib import X, Xatom, display
from Xlib.protocol import event

TYPE = "application/vnd.portal.filetransfer"
DISPLAY = display.Display()
BUS = Gio.bus_get_sync(Gio.BusType.SESSION)


def atom(name):
    return DISPLAY.intern_atom(name)


def portal(method, arguments, fds=None):
    reply = BUS.call_with_unix_fd_list_sync(
        "org.freedesktop.portal.Documents", "/org/freedesktop/portal/documents",
        "org.freedesktop.portal.FileTransfer", method, arguments, None, 0, 5000, fds, None)
    return reply[0].unpack()


def send(to, sender, kind, *data):
    to.send_event(event.ClientMessage(window=to, client_type=atom(kind),
                                      data=(32, [sender] + (list(data) + [0] * 4)[:4])))
    DISPLAY.flush()


def next_event(seconds, wanted):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        while DISPLAY.pending_events():
            seen = DISPLAY.next_event()
            if wanted(seen):
                return seen
        time.sleep(0.002)
    return None


def is_message(kind):
    return lambda seen: seen.type == X.ClientMessage and seen.client_type == atom(kind)


def source(window, x, y, path, delay="0"):
    key = portal("StartTransfer", GLib.Variant("(a{sv})", (
        {"writable": GLib.Variant("b", False), "autostop": GLib.Variant("b", True)},)))[0]
    fds = Gio.UnixFDList.new()
    index = fds.append(os.open(path, os.O_PATH | os.O_CLOEXEC))
    portal("AddFiles", GLib.Variant("(saha{sv})", (key, [index], {})), fds)
    me = DISPLAY.screen().root.create_window(0, 0, 1, 1, 0, X.CopyFromParent, X.InputOnly,
                                             X.CopyFromParent)
    target = DISPLAY.create_resource_object("window", int(window, 0))
    me.set_selection_owner(atom("XdndSelection"), X.CurrentTime)
    send(target, me.id, "XdndEnter", 5 << 24, atom(TYPE))
    send(target, me.id, "XdndPosition", 0, (int(x) << 16) | int(y), X.CurrentTime,
         atom("XdndActionCopy"))
    # The target may read the data while it decides: every request is answered meanwhile.
    status = next_event(5, lambda seen: answered(seen, key, float(delay)) or
                        is_message("XdndStatus")(seen))
    if status is None or not status.data[1][1] & 1:
        sys.exit("portal_drag: the target does not take the drag")
    send(target, me.id, "XdndDrop", 0, X.CurrentTime)
    finished = next_event(30, lambda seen: answered(seen, key, float(delay)) or
                          is_message("XdndFinished")(seen))
    if finished is None:
        sys.exit("portal_drag: the drop never finished")
    sys.exit(0 if finished.data[1][1] & 1 else "portal_drag: the target refused the drop")


def answered(seen, key, delay):
    """Answers a request for the drag's data with the key alone, after `delay` seconds; False
    for other events."""
    if seen.type != X.SelectionRequest:
        return False
    offered = seen.target == atom(TYPE)
    if offered:
        time.sleep(delay)
        seen.requestor.change_property(seen.property, seen.target, 8, key.encode() + b"\0")
    seen.requestor.send_event(event.SelectionNotify(
        time=seen.time, requestor=seen.requestor, selection=seen.selection, target=seen.target,
        property=seen.property if offered else X.NONE))
    DISPLAY.flush()
    return False


def target(x, y):
    me = DISPLAY.screen().root.create_window(int(x), int(y), 300, 200, 0, X.CopyFromParent,
                                             X.InputOutput, X.CopyFromParent,
                                             background_pixel=DISPLAY.screen().white_pixel,
                                             event_mask=X.PropertyChangeMask)
    me.set_wm_name("portal target")
    me.set_wm_normal_hints(flags=1 | 4, x=int(x), y=int(y))  # USPosition, PPosition
    me.change_property(atom("XdndAware"), Xatom.ATOM, 32, [5])
    me.map()
    DISPLAY.flush()
    print("ready", flush=True)
    offered = []
    while True:
        seen = next_event(120, lambda seen: seen.type == X.ClientMessage)
        if seen is None:
            sys.exit("portal_drag: no drop came")
        source_window = DISPLAY.create_resource_object("window", seen.data[1][0])
        if seen.client_type == atom("XdndEnter"):
            offered = list(seen.data[1][2:5])
            if seen.data[1][1] & 1:  # more than three: listed on the source's window
                offered = source_window.get_full_property(atom("XdndTypeList"), Xatom.ATOM).value
        elif seen.client_type == atom("XdndPosition"):
            send(source_window, me.id, "XdndStatus", 1, 0, 0, atom("XdndActionCopy"))
        elif seen.client_type == atom("XdndDrop") and atom(TYPE) not in offered:
            send(source_window, me.id, "XdndFinished", 0, 0)
            print("no key offered", flush=True)
            return
        elif seen.client_type == atom("XdndDrop"):
            me.convert_selection(atom("XdndSelection"), atom(TYPE), atom("KEY"), seen.data[1][2])
            DISPLAY.flush()
            notify = next_event(5, lambda seen: seen.type == X.SelectionNotify)
            key = b""
            if notify is not None and notify.property != X.NONE:
                key = me.get_full_property(atom("KEY"), X.AnyPropertyType).value
            key = bytes(key).rstrip(b"\0").decode()
            paths = portal("RetrieveFiles", GLib.Variant("(sa{sv})", (key, {})))[0] if key else []
            send(source_window, me.id, "XdndFinished", 1 if paths else 0,
                 atom("XdndActionCopy") if paths else 0)
            for path in paths:
                print(path, "readable" if os.access(path, os.R_OK) else "unreadable", flush=True)
            if not paths:
                print("no key" if not key else "no files", flush=True)
            return


if __name__ == "__main__":
    if len(sys.argv) < 2 or sys.argv[1] not in ("source", "target"):
        sys.exit(__doc__)
    (source if sys.argv[1] == "source" else target)(*sys.argv[2:])
