"""Prints what a screen reader meets in Verrabel's shelf: each list item's name, then each
push button's name, and a tooltip's text if one shows, one a line, in the accessibility tree's
order.

With --wait-for NAME SECONDS it instead waits until a list item of that name is there, and
fails if it is not within the time."""

import sys
import time

import pyatspi


def walk(node, found):
    try:
        role = node.getRole()
        name = node.name
    except Exception:  # the tree changed under us; the caller asks again
        return
    kinds = {pyatspi.ROLE_LIST_ITEM: "item", pyatspi.ROLE_PUSH_BUTTON: "button",
             pyatspi.ROLE_TOOL_TIP: "tip"}
    if role in kinds:
        found.append((kinds[role], name))
    for index in range(node.childCount):
        walk(node.getChildAtIndex(index), found)


def read_back():
    for application in pyatspi.Registry.getDesktop(0):
        if application is not None and application.name == "Verrabel":
            found = []
            walk(application, found)
            return found
    return None


def main():
    if len(sys.argv) == 4 and sys.argv[1] == "--wait-for":
        wanted, deadline = sys.argv[2], time.monotonic() + float(sys.argv[3])
        while time.monotonic() < deadline:
            if ("item", wanted) in (read_back() or []):
                return 0
            time.sleep(0.05)
        print(f"no item {wanted!r} in time", file=sys.stderr)
        return 1
    found = read_back()
    if found is None:
        print("no Verrabel on the accessibility bus", file=sys.stderr)
        return 1
    for kind, name in found:
        print(f"{kind}\t{name}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
