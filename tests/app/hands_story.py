#!/usr/bin/env python3
"""The window, worked by mouse and keys alone, on X11 and on Wayland: attach a frame, select, add, drag, fit, download,
the frame's screen, quit. Says how long the main thread worked at most.

Usage: hands_story.py LUMATO LUMATOCTL x11|wayland [LONG_WORK_LIBRARY]

Ends with 77 where the packages for that are missing.
"""
import shutil
import subprocess
import sys
import time

from access_story import Atspi, BLUE, RED, SKIPPED, is_in, lead, prepare, wait

LONGEST_WORK = 500  # milliseconds: of a window that freezes; the aim is 16 once it is there, and is printed by step


STEPS = []  # what was waited for, and when it was there


def until(what, condition):
    found = wait(what, condition)
    STEPS.append((time.monotonic(), what))
    return found


class Hands:
    """Mouse and keyboard of the display. The main window lies in its corner."""

    def __init__(self, window):
        self.window = window
        self.main = window.get("frame")

    def keys(self, *names):
        subprocess.run(["xdotool", "key", "--delay", "30", *names], check=True)

    def type(self, text):
        subprocess.run(["xdotool", "type", "--delay", "10", text], check=True)

    def middle(self, node):
        whole = Atspi.Component.get_extents(self.main, Atspi.CoordType.SCREEN)
        part = Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
        return part.x - whole.x + part.width // 2, part.y - whole.y + part.height // 2

    def click(self, node):
        x, y = self.middle(node)
        subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "1"], check=True)

    def drag(self, start, end):
        command = ["xdotool", "mousemove", *map(str, start), "sleep", "0.1", "mousedown", "1"]
        for step in range(1, 11):
            command += ["mousemove", *(str(a + (b - a) * step // 10) for a, b in zip(start, end)), "sleep", "0.03"]
        subprocess.run([*command, "sleep", "0.1", "mouseup", "1"], check=True)


def dialog_takes(hands, path):
    dialog = hands.window.get("dialog")
    until("the dialog's keys", lambda: is_in(hands.window.find("text", None, dialog), "FOCUSED"))
    hands.type(str(path))
    hands.keys("Return")
    until("the end of the dialog", lambda: hands.window.find("dialog") is None)


def story(window, work):
    until("the window", lambda: is_in(window.find("frame"), "SHOWING"))  # the start, not the use
    hands = Hands(window)
    until("the note of the start", lambda: window.note() == "Device not online")
    hands.click(window.get("push button", "New Virtual Frame…"))
    until("the dialog", lambda: window.find("dialog"))
    hands.keys("Escape")
    until("the end of the dialog", lambda: window.find("dialog") is None)
    hands.click(window.get("label", "Picture"))  # nobody manages the windows: the keys follow the mouse
    hands.keys("ctrl+o")
    dialog_takes(hands, work / "a.frame")
    until("the frame", lambda: window.note() == "No pictures")

    hands.click(window.get("list item", "Pictures"))
    hands.keys("Return")
    hands.click(window.get("list item", "one.bmp"))
    view = window.get("image", "Picture")
    until("the picture", lambda: view.get_description().startswith("one.bmp, "))
    hands.keys("ctrl+Return")
    until("the added picture", lambda: len(window.items("On the frame")) == 1)
    hands.drag(hands.middle(window.get("list item", "two.bmp")), hands.middle(window.get("list", "On the frame")))
    until("the dragged picture", lambda: len(window.items("On the frame")) == 2)

    crop = window.get("image", "Part that the frame shows")
    before = crop.get_description()
    x, y = hands.middle(crop)
    hands.drag((x, y), (x + 40, y + 30))
    until("the moved part", lambda: crop.get_description() != before)
    turned = view.get_description()
    hands.keys("ctrl+r")
    until("the turn", lambda: view.get_description() != turned)

    hands.keys("ctrl+d")
    until("the download", lambda: window.note() == "Download finished")
    hands.keys("F9")
    until("the frame's screen", lambda: window.application.get_child_count() > 1)
    hands.keys("Escape")
    hands.click(window.items("On the frame")[0])
    hands.keys("Delete")
    until("the deletion", lambda: len(window.items("On the frame")) == 1)
    hands.keys("ctrl+z")
    until("what was before", lambda: len(window.items("On the frame")) == 2)
    hands.keys("ctrl+q")
    until("the question", lambda: is_in(window.find("push button", "OK"), "FOCUSED"))
    hands.keys("Return")


def main():
    lumato, lumatoctl, platform = sys.argv[1:4]
    wayland = platform == "wayland"
    if not shutil.which("xdotool") or (wayland and not shutil.which("weston")):
        sys.exit(SKIPPED)
    work = prepare(lumatoctl, "800x480", ("one.bmp", 4000, 3000, RED, BLUE), ("two.bmp", 4000, 3000, BLUE, RED))
    more = {}
    if len(sys.argv) > 4:
        more = {"LD_PRELOAD": sys.argv[4], "LUMATO_LONG_WORK": str(work / "long")}
    lead(story, work, lumato, wayland=wayland, **more)
    works = [line.split() for line in (work / "long").read_text().splitlines()] if more else []
    for at, milliseconds in works:
        step = next((what for end, what in STEPS if end > float(at)), "the end")
        print(f"{milliseconds} ms of work on the way to {step}")
    if any(float(milliseconds) > LONGEST_WORK for _, milliseconds in works):
        raise SystemExit(f"That is more than {LONGEST_WORK} ms")
    shutil.rmtree(work)


if __name__ == "__main__":
    main()
