"""A drag source of the tests' own, with timing that real applications do not offer on demand.

    xds_source.py WINDOW X Y NAME ANSWER FROM [BURSTS PAUSE DELAY]

Drops a promised file (X Direct Save) NAME onto WINDOW at the root point X,Y. ANSWER S: asked to
save it, writes the bytes of the file FROM there in BURSTS bursts, closing the file between them,
PAUSE seconds apart, waits DELAY seconds and answers S. ANSWER A: answers S at once, as an
archiver that leaves the work to its extractor does, then works in the folder (its working
directory there) for DELAY seconds before writing the bursts. ANSWER R: answers S at once; a helper
(a child process working elsewhere) then claims NAME with an empty file, writes the bursts into
NAME.part beside it and renames that over NAME. ANSWER U: answers S at once, writes the file
itself and starts a child that never touches the folder and runs on for DELAY seconds, which the
source waits for. ANSWER F: answers F at once, then
sends the bytes itself, incrementally, when asked before the drop is finished: like some
sources, it gives up the drag's selection then. Prints "dropped", then how long the drop held the target."""

import os
import subprocess
import sys
import threading
import time
import urllib.parse

from Xlib import X, display
from Xlib.protocol import event, request

CHUNK = 64 * 1024
DISPLAY = display.Display()
WINDOW = DISPLAY.screen().root.create_window(0, 0, 1, 1, 0, X.CopyFromParent, X.InputOnly,
                                             X.CopyFromParent, event_mask=X.PropertyChangeMask)
FINISHED = []  # when the target said the drop is over


def atom(name):
    return DISPLAY.intern_atom(name)


def send(to, kind, *data):
    to.send_event(event.ClientMessage(window=to, client_type=atom(kind),
                                      data=(32, (list(data) + [0] * 5)[:5])))
    DISPLAY.flush()


def wait_for(seconds, wanted):
    """The first event that `wanted` takes within `seconds`, noting the drop's end meanwhile."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        while DISPLAY.pending_events():
            seen = DISPLAY.next_event()
            if seen.type == X.ClientMessage and seen.client_type == atom("XdndFinished"):
                FINISHED.append(time.monotonic())
                request.SetSelectionOwner(display=DISPLAY.display, window=X.NONE,
                                          selection=atom("XdndSelection"), time=X.CurrentTime)
                DISPLAY.flush()
            if wanted(seen):
                return seen
        time.sleep(0.0005)
    return None


def reply(display_, request):
    request.requestor.send_event(event.SelectionNotify(
        time=request.time, requestor=request.requestor, selection=request.selection,
        target=request.target, property=request.property))
    display_.flush()


# The helper of ANSWER R: PATH ORIGIN BURSTS PAUSE.
RESERVE = """
import sys, time
path, origin, bursts, pause = sys.argv[1], sys.argv[2], int(sys.argv[3]), float(sys.argv[4])
data = open(origin, "rb").read()
open(path, "wb").close()
share = len(data) // bursts
for burst in range(bursts):
    time.sleep(pause if burst else 0)
    with open(path + ".part", "ab") as file:
        file.write(data[burst * share:None if burst + 1 == bursts else (burst + 1) * share])
import os
os.rename(path + ".part", path)
"""


def save(request, data, bursts, pause, delay, early, mode="", origin=""):
    """Writes the bursts where the target asked, and answers, after or before: on a connection of
    its own, since the main one keeps watching for the drop's end meanwhile."""
    aside = display.Display()
    url = aside.create_resource_object("window", WINDOW.id).get_full_property(
        aside.intern_atom("XdndDirectSave0"), X.AnyPropertyType).value
    path = b"/" + urllib.parse.unquote_to_bytes(url.split(b"://", 1)[1].partition(b"/")[2])
    request.requestor = aside.create_resource_object("window", request.requestor.id)

    def answer():
        request.requestor.change_property(request.property, request.target, 8, b"S")
        reply(aside, request)

    if mode == "R":
        answer()
        subprocess.run([sys.executable, "-c", RESERVE, path, origin, str(bursts), str(pause)],
                       cwd="/", check=True)
        return
    if mode == "U":
        answer()
        with open(path, "wb") as file:
            file.write(data)
        subprocess.run(["sleep", str(delay)], cwd="/", check=True)
        return
    if early:
        answer()
        os.chdir(os.path.dirname(path))
        time.sleep(delay)
    share = len(data) // bursts
    for burst in range(bursts):
        time.sleep(pause if burst else 0)
        with open(path, "ab") as file:
            file.write(data[burst * share:None if burst + 1 == bursts else (burst + 1) * share])
    if early:
        os.chdir("/")
    else:
        time.sleep(delay)
        answer()


def send_incrementally(request, data):
    """The INCR transfer: a piece each time the requestor deletes the property, then none."""
    request.requestor.change_attributes(event_mask=X.PropertyChangeMask)
    request.requestor.change_property(request.property, atom("INCR"), 32, [len(data)])
    reply(DISPLAY, request)
    for offset in range(0, len(data) + CHUNK, CHUNK):
        if not wait_for(10, lambda seen: seen.type == X.PropertyNotify and
                        seen.window == request.requestor and seen.atom == request.property and
                        seen.state == X.PropertyDelete):
            return False
        request.requestor.change_property(request.property, request.target, 8,
                                          data[offset:offset + CHUNK])
        DISPLAY.flush()
    return True


def main(window, x, y, name, answer, origin, bursts="1", pause="0", delay="0"):
    target = DISPLAY.create_resource_object("window", int(window, 0))
    with open(origin, "rb") as file:
        data = file.read()
    WINDOW.change_property(atom("XdndDirectSave0"), atom("text/plain"), 8, name.encode())
    WINDOW.set_selection_owner(atom("XdndSelection"), X.CurrentTime)
    send(target, "XdndEnter", WINDOW.id, 5 << 24, atom("XdndDirectSave0"))
    send(target, "XdndPosition", WINDOW.id, 0, (int(x) << 16) | int(y), X.CurrentTime,
         atom("XdndActionCopy"))
    wait_for(5, lambda seen: seen.type == X.ClientMessage and seen.client_type == atom("XdndStatus"))
    dropped = time.monotonic()
    send(target, "XdndDrop", WINDOW.id, 0, X.CurrentTime)
    print("dropped", flush=True)
    saver, done = None, False
    while not (done and FINISHED):
        request = wait_for(30, lambda seen: seen.type == X.SelectionRequest or FINISHED)
        if request is None:
            break
        if request.type != X.SelectionRequest:
            continue
        if request.target == atom("XdndDirectSave0") and answer in "SARU":
            saver = threading.Thread(target=save, args=(request, data, int(bursts), float(pause),
                                                        float(delay), answer == "A", answer,
                                                        origin))
            saver.start()
            done = True
        elif request.target == atom("XdndDirectSave0"):
            request.requestor.change_property(request.property, request.target, 8, b"F")
            reply(DISPLAY, request)
        elif request.target == atom("application/octet-stream") and not FINISHED:
            done = send_incrementally(request, data)
        else:
            request.property = X.NONE
            reply(DISPLAY, request)
    if saver:
        saver.join()
    DISPLAY.sync()  # the server may drop requests still unread at hang-up
    if not (done and FINISHED):
        sys.exit("xds_source: the drop did not end as it should")
    print(f"the drop held the target for {(FINISHED[0] - dropped) * 1000:.1f} ms")


if __name__ == "__main__":
    if len(sys.argv) < 7:
        sys.exit(__doc__)
    main(*sys.argv[1:])
