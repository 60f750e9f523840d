"""A drag source of the tests' own, with timing that real applications do not offer on demand.

    xds_source.py WINDOW X Y NAME ANSWER FROM [BURSTS PAUSE DELAY]

Drops a promised file (X Direct Save) NAME onto WINDOW at the root point X,Y. Asked to save it,
writes the bytes of the file FROM there in BURSTS bursts, closing the file between them, PAUSE
seconds apart, waits DELAY seconds and answers ANSWER: S, E, none (never), or F (at once, then
sends the bytes itself, incrementally, when asked). Prints "dropped", then how long the drop
held the target."""

import sys
import threading
import time
import urllib.parse

from Xlib import X, display
from Xlib.protocol import event

CHUNK = 64 * 1024


class Source:
    def __init__(self):
        self.display = display.Display()
        self.window = self.display.screen().root.create_window(
            0, 0, 1, 1, 0, X.CopyFromParent, X.InputOnly, X.CopyFromParent,
            event_mask=X.PropertyChangeMask)
        self.finished = None  # when the target said the drop is over

    def atom(self, name):
        return self.display.intern_atom(name)

    def send(self, to, kind, *data):
        to.send_event(event.ClientMessage(window=to, client_type=self.atom(kind),
                                          data=(32, (list(data) + [0] * 5)[:5])))
        self.display.flush()

    def wait_for(self, seconds, wanted):
        """The first event that `wanted` takes within `seconds`; others are dropped, but the
        drop's end is noted whatever is waited for."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            while self.display.pending_events():
                seen = self.display.next_event()
                if seen.type == X.ClientMessage and seen.client_type == self.atom("XdndFinished"):
                    self.finished = self.finished or time.monotonic()
                if wanted(seen):
                    return seen
            time.sleep(0.0005)
        return None


def reply(display_, request, prop):
    request.requestor.send_event(event.SelectionNotify(
        time=request.time, requestor=request.requestor, selection=request.selection,
        target=request.target, property=prop))
    display_.flush()


def save(request, answer, data, bursts, pause, delay):
    """Writes the bursts where the target asked, then answers: on a connection of its own, since
    the main one keeps watching for the drop's end meanwhile."""
    aside = display.Display()
    us = aside.create_resource_object("window", SOURCE.window.id)
    url = us.get_full_property(aside.intern_atom("XdndDirectSave0"), X.AnyPropertyType).value
    path = urllib.parse.unquote_to_bytes(url.split(b"://", 1)[1].partition(b"/")[2])
    share = len(data) // bursts
    for burst in range(bursts if answer in ("S", "none") else 0):
        time.sleep(pause if burst else 0)
        with open(b"/" + path, "ab") as file:
            file.write(data[burst * share:None if burst + 1 == bursts else (burst + 1) * share])
    time.sleep(delay)
    if answer != "none":
        requestor = aside.create_resource_object("window", request.requestor.id)
        requestor.change_property(request.property, request.target, 8, answer.encode())
        request.requestor = requestor
        reply(aside, request, request.property)


def send_incrementally(request, data):
    """The INCR transfer: a piece each time the requestor deletes the property, then none."""
    request.requestor.change_attributes(event_mask=X.PropertyChangeMask)
    request.requestor.change_property(request.property, SOURCE.atom("INCR"), 32, [len(data)])
    reply(SOURCE.display, request, request.property)
    for offset in range(0, len(data) + CHUNK, CHUNK):
        if not SOURCE.wait_for(10, lambda seen: seen.type == X.PropertyNotify and
                               seen.window == request.requestor and
                               seen.atom == request.property and seen.state == X.PropertyDelete):
            return False
        request.requestor.change_property(request.property, request.target, 8,
                                          data[offset:offset + CHUNK])
        SOURCE.display.flush()
    return True


def main(window, x, y, name, answer, origin, bursts="1", pause="0", delay="0"):
    target = SOURCE.display.create_resource_object("window", int(window, 0))
    with open(origin, "rb") as file:
        data = file.read()
    SOURCE.window.change_property(SOURCE.atom("XdndDirectSave0"), SOURCE.atom("text/plain"), 8,
                                  name.encode())
    SOURCE.window.set_selection_owner(SOURCE.atom("XdndSelection"), X.CurrentTime)
    SOURCE.send(target, "XdndEnter", SOURCE.window.id, 5 << 24, SOURCE.atom("XdndDirectSave0"))
    SOURCE.send(target, "XdndPosition", SOURCE.window.id, 0, (int(x) << 16) | int(y),
                X.CurrentTime, SOURCE.atom("XdndActionCopy"))
    SOURCE.wait_for(5, lambda seen: seen.type == X.ClientMessage and
                    seen.client_type == SOURCE.atom("XdndStatus"))
    dropped = time.monotonic()
    SOURCE.send(target, "XdndDrop", SOURCE.window.id, 0, X.CurrentTime)
    print("dropped", flush=True)

    saver, done = None, False
    while not (done and SOURCE.finished):
        request = SOURCE.wait_for(30, lambda seen: seen.type == X.SelectionRequest or (
            seen.type == X.ClientMessage and seen.client_type == SOURCE.atom("XdndFinished")))
        if request is None:
            break
        if request.type != X.SelectionRequest:
            continue
        if request.target == SOURCE.atom("XdndDirectSave0"):
            saver = threading.Thread(target=save, args=(request, answer, data, int(bursts),
                                                        float(pause), float(delay)))
            saver.start()
            done = answer != "F"
        elif request.target == SOURCE.atom("application/octet-stream") and answer == "F":
            done = send_incrementally(request, data)
        else:
            reply(SOURCE.display, request, X.NONE)
    if saver:
        saver.join()
    SOURCE.display.sync()  # the server may drop requests still unread at hang-up
    if not (done and SOURCE.finished):
        print("xds_source: the drop did not end as it should", file=sys.stderr)
        return 1
    print(f"the drop held the target for {(SOURCE.finished - dropped) * 1000:.1f} ms")
    return 0


if __name__ == "__main__":
    if len(sys.argv) < 7:
        sys.exit(__doc__)
    SOURCE = Source()
    sys.exit(main(*sys.argv[1:]))
