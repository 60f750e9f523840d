"""Prints what a screen reader meets in Verrabel's shelf, one a line in the accessibility tree's
order: each list item's name, each push button's, and a tooltip's text if one shows; with
--labels first, each label's text too.

With --wait-for NAME SECONDS it instead waits until a list item of that name is there, and
fails if it is not within the time."""

import sys
import time

import pyatspi

KINDS = {pyatspi.ROLE_LIST_ITEM: "item", pyatspi.ROLE_PUSH_BUTTON: "button",
         pyatspi.ROLE_TOOL_TIP: "tip"}


def walk(node, found):
    try:
        if node.getRole() in KINDS:
            found.append(f"{KINDS[node.getRole()]}\t{node.name}")
        for index in range(node.childCount):
            walk(node.getChildAtIndex(index), found)
    except Exception:  # the tree changed under us; the caller asks again
        pass
    return found


def read_back():
    return next((walk(application, []) for application in pyatspi.Registry.getDesktop(0)
                 if application is not None and application.name == "Verrabel"), None)


if sys.argv[1:2] == ["--labels"]:
    KINDS[pyatspi.ROLE_LABEL] = "label"
    del sys.argv[1]
if sys.argv[1:2] == ["--wait-for"]:
    deadline = time.monotonic() + float(sys.argv[3])
    while f"item\t{sys.argv[2]}" not in (read_back() or []):
        if time.monotonic() > deadline:
            sys.exit(f"no item {sys.argv[2]!r} in time")
        time.sleep(0.05)
elif (found := read_back()) is None:
    sys.exit("no Verrabel on the accessibility bus")
else:
    print("\n".join(found))
