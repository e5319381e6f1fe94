#!/usr/bin/env python3
"""Checks that every room includes only rooms it may use, and system headers only where they belong.

Usage: check_rooms.py [SOURCE_FOLDER]

Callers stand above the called: an include never points up. tests/, bench/, fuzz/ and tools/ may use anything.
"""
import pathlib
import re
import sys

# What each room may use beyond itself.
ROOMS = {
    "base": set(),
    "platform": {"base"},
    "device": {"base", "platform"},
    "flash": {"base", "platform", "device"},
    "text": {"base"},
    "jpeg": {"base"},
    "vframe": {"base", "platform", "jpeg"},
    "store": {"base", "platform", "device", "flash"},
    "reader": {"base"},
    "import": {"base", "jpeg", "reader"},
    "picture": {"base", "store", "jpeg", "import"},
    "backup": {"base", "store", "jpeg", "picture"},
    "report": {"base", "platform", "device", "flash", "store", "vframe"},
}
ROOMS["cli"] = set(ROOMS)
ROOMS["app"] = set(ROOMS) - {"cli"}
# The window's own rooms, likewise.
WINDOW = {
    "parts": set(),
    "browser": {"parts"},
    "edit": {"parts", "browser"},
    "list": {"parts"},
    "frame": {"parts"},
}
WINDOW["shell"] = set(WINDOW)
FREE = {"tests", "bench", "fuzz", "tools"}
KNOWN = set(ROOMS) | FREE

# System headers that one place alone may include: (pattern, folder, what for).
SYSTEM = [
    (re.compile(r"scsi/sg\.h|libudev\.h"), "platform/linux/", "the real bus"),
    (re.compile(r"vips/.+"), "reader/", "readers"),
    (re.compile(r"Q[A-Z]\w*|Qt\w+/.+"), "app/", "the window"),
]
INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
SUFFIXES = {".h", ".cpp", ".hpp", ".cc"}


def fault_within_window(room, used, quoted):
    if room in WINDOW and used != room and used not in WINDOW[room]:
        return f'"{quoted}": app/{room}/ may not use app/{used}/'
    return None


def faults_of_include(path, quoted, system):
    """What is wrong with one include of the file `path`, relative to the source folder, or None."""
    room = path.parts[0]
    if quoted is not None:
        used = pathlib.PurePosixPath(quoted).parts[0]
        generated = "/" not in quoted and (
            quoted.startswith("ui_") and room == "app" or quoted.endswith(".moc") and room in {"app", "tests"})
        if used not in KNOWN and not generated:
            return f'"{quoted}" names no room; write "room/header.h"'
        if room in ROOMS and used != room and used not in ROOMS[room] and not generated:
            return f'"{quoted}": {room}/ may not use {used}/'
        if room == used == "app":
            return fault_within_window(path.parts[1], quoted.split("/")[1], quoted)
    header = quoted or system
    for pattern, folder, purpose in SYSTEM:
        allowed = path.as_posix().startswith(folder) or room in FREE
        if pattern.fullmatch(header) and not allowed:
            return f"<{header}> is for {purpose}, in {folder} alone"
    return None


def check(root):
    """All faults of the sources below `root`, one line each."""
    faults = []
    for room in sorted(KNOWN):
        for path in sorted((root / room).rglob("*")):
            if path.suffix not in SUFFIXES:
                continue
            relative = path.relative_to(root)
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                match = INCLUDE.match(line)
                fault = match and faults_of_include(relative, *match.groups())
                if fault:
                    faults.append(f"{relative}:{number}: {fault}")
    return faults


def check_itself():
    """A check that can no longer fail is none: these includes are judged before the sources are."""
    rows = [
        ("base/a.h", "text/b.h", None, True),
        ("text/a.h", "base/b.h", None, False),
        ("text/a.h", "b.h", None, True),
        ("vframe/a.cpp", "platform/scsi.h", None, False),
        ("vframe/a.cpp", "device/b.h", None, True),
        ("picture/a.cpp", "flash/b.h", None, True),
        ("import/a.cpp", "picture/b.h", None, True),
        ("app/a.cpp", "cli/b.h", None, True),
        ("cli/a.cpp", "app/b.h", None, True),
        ("app/list/a.cpp", "app/edit/b.h", None, True),
        ("app/shell/a.cpp", "app/list/b.h", None, False),
        ("app/main.cpp", "app/shell/b.h", None, False),
        ("app/a.cpp", "ui_main.h", None, False),
        ("tests/app/a.cpp", "a.moc", None, False),
        ("cli/a.cpp", "a.moc", None, True),
        ("store/a.cpp", "tests/b.h", None, True),
        ("tests/a.cpp", "app/b.h", None, False),
        ("device/a.cpp", None, "scsi/sg.h", True),
        ("platform/linux/a.cpp", None, "scsi/sg.h", False),
        ("platform/a.cpp", None, "libudev.h", True),
        ("cli/a.cpp", None, "QString", True),
        ("cli/a.cpp", None, "QtCore/QString", True),
        ("app/a.cpp", None, "QtCore/QString", False),
        ("cli/a.cpp", None, "queue", False),
        ("import/a.cpp", None, "vips/vips.h", True),
        ("reader/a.cpp", "import/b.h", None, True),
    ]
    for path, quoted, system, wrong in rows:
        found = faults_of_include(pathlib.PurePosixPath(path), quoted, system)
        assert bool(found) == wrong, (path, quoted, system, found)


def main():
    check_itself()
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
    faults = check(root)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
