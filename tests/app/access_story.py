#!/usr/bin/env python3
"""The window, worked from outside through the accessibility bus alone, as a screen reader's user works it: attach
a frame, browse, select, fit, add, download, save, delete, undo, another language, quit.

Usage: access_story.py LUMATO LUMATOCTL

Runs on a display and a message bus of its own. Ends with 77 where the packages for that are missing.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
RED, BLUE = b"\x00\x00\xff", b"\xff\x00\x00"
PATIENCE = 60  # seconds; far more than anything takes
LAUNCHER = "/usr/libexec/at-spi-bus-launcher"

try:
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi, GLib
except (ImportError, ValueError):
    # The bindings belong to the system's own interpreter, which need not be the first one.
    if os.path.realpath(sys.executable) != os.path.realpath("/usr/bin/python3") and os.path.exists("/usr/bin/python3"):
        os.execv("/usr/bin/python3", ["/usr/bin/python3", "-B", *sys.argv])
    sys.exit(SKIPPED)
sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../independent"))
from stream_codec import make_bitmap
if not shutil.which("Xvfb") or not shutil.which("dbus-daemon") or not os.path.exists(LAUNCHER):
    sys.exit(SKIPPED)


class Desk:
    """A display, a message bus, and the program on them; within a Wayland compositor where `wayland` says so."""

    def __init__(self, work, lumato, *, wayland=False, **more):
        self.processes = []
        self.environment = dict(os.environ, HOME=str(work / "user"), XDG_RUNTIME_DIR=str(work / "run"),
                                XDG_CONFIG_HOME=str(work / "config"), QT_QPA_PLATFORM="xcb",
                                QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", LANG="C.UTF-8")
        for name in ("WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_CACHE_HOME"):
            self.environment.pop(name, None)
        reading, writing = os.pipe()
        # Without -noreset the server turns everybody away for a moment whenever its last client leaves, and the
        # accessibility bus's launcher comes and goes before the program.
        self.start("Xvfb", "-displayfd", str(writing), "-screen", "0", "1500x1000x24", "-nolisten", "tcp",
                   "-noreset", pass_fds=[writing])
        os.close(writing)
        with os.fdopen(reading) as display:
            self.environment["DISPLAY"] = ":" + display.readline().strip()
        bus = self.start("dbus-daemon", "--session", "--nofork", "--print-address", stdout=subprocess.PIPE, text=True)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        # Asking for the accessibility bus starts it; a program that starts before it does without.
        wait("the accessibility bus", lambda: subprocess.run(
            ["dbus-send", "--session", "--print-reply", "--dest=org.a11y.Bus", "/org/a11y/bus",
             "org.a11y.Bus.GetAddress"], env=self.environment, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL).returncode == 0)
        if wayland:
            self.start("weston", "--backend=x11-backend.so", "--shell=kiosk-shell.so", "--width=1500", "--height=1000",
                       "--idle-time=0", "--socket=wayland-story", stdout=subprocess.DEVNULL)
            wait("the compositor", (work / "run/wayland-story").exists)
            self.environment.update(QT_QPA_PLATFORM="wayland", WAYLAND_DISPLAY="wayland-story")
        self.environment.update(more)
        self.program = self.start(lumato, "--home", str(work / "home"), stdout=subprocess.DEVNULL, stderr=None)
        os.environ.update({name: self.environment[name]
                           for name in ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR")})
        Atspi.init()
        Atspi.set_timeout(5000, 5000)
        Atspi.get_desktop(0).set_cache_mask(Atspi.Cache.NONE)  # what is read is what is there

    def start(self, *command, **options):
        process = subprocess.Popen(command, env=self.environment, **{"stderr": subprocess.DEVNULL, **options})
        self.processes.append(process)
        return process

    def close(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait()


def below(node):
    for index in range(Atspi.Accessible.get_child_count(node)):
        child = Atspi.Accessible.get_child_at_index(node, index)
        if child is not None:
            yield child
            yield from below(child)


class Window:
    """What is on the accessibility bus, found by role and name."""

    def __init__(self, program):
        self.application = wait("the program on the bus, or its end", lambda: program.poll() is not None or next(
            (node for node in below_desktop() if node.get_name() == "lumato"), None))
        if program.returncode is not None:
            raise SystemExit(f"The program ended at its start with {program.returncode}")

    def find(self, role, name=None, where=None):
        for node in below(where or self.application):
            if node.get_role_name() == role and (name is None or node.get_name() == name):
                return node
        return None

    def get(self, role, name=None, where=None):
        return wait(f"{role} {name!r}", lambda: self.find(role, name, where))

    def act(self, role, name, where=None):
        node = wait(f"{role} {name!r}, enabled", lambda: next(
            (node for node in [self.find(role, name, where)] if node is not None and is_in(node, "ENABLED")), None))
        Atspi.Action.do_action(node, 0)

    def items(self, name):
        found = self.find("list", name)
        return [] if found is None else list(below(found))

    def note(self):
        return next(node.get_name() for node in below(self.application)
                    if node.get_role_name() == "label" and node.get_description() == "Information")


def below_desktop():
    desktop = Atspi.get_desktop(0)
    return [desktop.get_child_at_index(index) for index in range(desktop.get_child_count())]


def is_in(node, state):
    return node.get_state_set().contains(getattr(Atspi.StateType, state))


def wait(what, condition):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):  # events
            pass
        try:
            found = condition()
            if found:
                return found
        except Exception:  # a node can vanish between two calls
            pass
        time.sleep(0.1)
    raise SystemExit(f"Not there after {PATIENCE} seconds: {what}")


def check_names(window):
    """Whatever can be seen and worked has a name."""
    roles = {"push button", "check box", "list", "list item", "spin button", "image", "progress bar", "menu item"}
    for node in below(window.application):
        if node.get_role_name() in roles and is_in(node, "SHOWING") and not node.get_name():
            raise SystemExit(f"A {node.get_role_name()} has no name")


def choose_file(window, path, button):
    dialog = window.get("dialog")
    field = window.get("text", None, dialog)
    Atspi.EditableText.set_text_contents(field, str(path))
    window.act("push button", button, dialog)
    wait("the end of the dialog", lambda: window.find("dialog") is None)


def thumbnail_of(photo, work):
    """The desktop's thumbnail of the photograph as it is now, as the desktop's own library finds it."""
    question = ("import sys; from gi.repository import Gio; info = Gio.File.new_for_path(sys.argv[1]).query_info("
                "'thumbnail::*', 0, None); print(info.get_attribute_byte_string('thumbnail::path') "
                "if info.get_attribute_boolean('thumbnail::is-valid') else '')")
    environment = {name: value for name, value in os.environ.items() if name != "XDG_CACHE_HOME"}
    answer = subprocess.run([sys.executable, "-c", question, str(photo)], check=True, capture_output=True, text=True,
                            env=dict(environment, HOME=str(work / "user")))
    path = pathlib.Path(answer.stdout.strip() or "/nothing")
    return path.exists() and path.stat().st_mode & 0o777 == 0o600 and path.parent.stat().st_mode & 0o777 == 0o700


def puts_a_picture_on_the_frame(window, work):
    wait("the note of the start", lambda: window.note() == "Device not online")
    assert not is_in(window.get("push button", "Add"), "ENABLED")
    spoken = []

    def hear(event):
        try:
            spoken.append((event.source.get_role_name(), event.source.get_name()))
        except GLib.GError:  # what has come and gone
            pass

    speaker = Atspi.EventListener.new(hear)
    speaker.register("object:state-changed:showing")
    check_names(window)
    window.act("push button", "Attach Virtual Frame…")
    choose_file(window, work / "a.frame", "Open")
    wait("the frame", lambda: window.note() == "No pictures")
    check_names(window)

    window.act("menu item", "Columns")
    window.act("list item", "Pictures")
    window.act("menu item", "Thumbnails")
    window.act("list item", "one.bmp", window.get("list", "Pictures"))
    view = window.get("image", "Picture")
    wait("the picture", lambda: view.get_description() == "one.bmp, Rotate 0°, Scale 41 %, Translate X 0, Translate Y 0")
    scale = window.get("spin button", "Scale")
    window.act("check box", "Fit to LCD size")
    wait("the canvas's width", lambda: Atspi.Value.get_current_value(scale) in (144, 145))
    window.act("check box", "Fit to LCD size")
    wait("the fit", lambda: Atspi.Value.get_current_value(scale) == 41)
    Atspi.Value.set_current_value(scale, 50)
    wait("the scale in words", lambda: "Scale 50 %" in view.get_description())
    assert window.get("image", "Part that the frame shows").get_description() == "X 210, Y 140, 160 × 120"

    window.act("push button", "Add")
    wait("the mark of what is on the frame", lambda: window.get(
        "list item", "one.bmp", window.get("list", "Pictures")).get_description() == "On the frame")
    wait("a thumbnail that the desktop takes for its own", lambda: thumbnail_of(work / "user/Pictures/one.bmp", work))
    wait("the added picture", lambda: [item.get_description() for item in window.items("On the frame")]
         == ["one.bmp · not yet on the frame · 2 KB"])
    window.act("push button", "Download")
    wait("the download", lambda: window.note() == "Download finished")
    wait("the note spoken", lambda: ("notification", "Download finished: you may unplug the frame now") in spoken)
    wait("the remark's end", lambda: [item.get_description() for item in window.items("On the frame")] == ["one.bmp · 2 KB"])


def saves_deletes_and_backs_up(window, work):
    window.act("push button", "Save All")
    choose_file(window, work / "saved", "Choose")
    wait("the saved picture", lambda: window.note() == "Pictures saved: 1")
    assert (work / "saved" / "1.bmp").stat().st_size == 54 + 160 * 120 * 3

    Atspi.Action.do_action(window.items("On the frame")[0], 0)
    preview = window.get("image", "Preview")
    wait("the preview", lambda: preview.get_description() != "")
    window.act("push button", "Delete")
    wait("the deletion", lambda: window.items("On the frame") == [])
    window.act("menu item", "Undo: Delete")
    wait("the undone deletion", lambda: len(window.items("On the frame")) == 1)

    window.act("menu item", "Back Up…")
    choose_file(window, work / "frame.tar", "Save")
    wait("the backup", lambda: window.note() == "The frame is backed up")
    window.act("push button", "Delete")
    wait("the deletion", lambda: window.items("On the frame") == [])
    window.act("menu item", "Restore…")
    choose_file(window, work / "frame.tar", "Open")
    window.act("push button", "Restore")
    wait("the restored picture", lambda: window.note() == "The pictures of the backup are in the list")
    assert [item.get_description() for item in window.items("On the frame")] == ["one.bmp · not yet on the frame · 2 KB"]
    window.act("menu item", "Undo: Restore")
    wait("what was before", lambda: window.items("On the frame") == [])
    window.act("menu item", "Undo: Delete")
    wait("the undone deletion", lambda: len(window.items("On the frame")) == 1)

    window.act("check box", "Delete All")
    window.act("push button", "Delete")
    wait("the deletion", lambda: window.items("On the frame") == [])

    note = window.note()
    window.act("menu item", "Deutsch")
    window.get("push button", "Löschen")
    wait("the note in German", lambda: window.note() == note.replace("Pictures in the list", "Bilder in der Liste"))
    window.act("menu item", "English")
    window.get("push button", "Delete")
    window.act("push button", "Download")
    wait("the download", lambda: window.note() == "Download finished")

    window.act("menu item", "Quit")
    window.act("push button", "OK")


def story(window, work):
    puts_a_picture_on_the_frame(window, work)
    saves_deletes_and_backs_up(window, work)


def prepare(lumatoctl, lcd, *pictures):
    """A folder for the story, with a new frame and the (name, width, height, left and right colour) of a user."""
    work = pathlib.Path(tempfile.mkdtemp(prefix="window_story_"))
    for folder in ("user/Pictures", "run", "config", "home", "saved"):
        (work / folder).mkdir(parents=True)
    (work / "run").chmod(0o700)
    for name, width, height, left, right in pictures:
        (work / "user/Pictures" / name).write_bytes(
            make_bitmap(width, height, [left * (width // 2) + right * (width // 2)] * height))
    subprocess.run([lumatoctl, "frame", "new", str(work / "a.frame"), "--lcd", lcd, "--flash", "2M"], check=True,
                   stdout=subprocess.DEVNULL)
    return work


def lead(story, work, lumato, **options):
    """The story in the window, to the end of the program."""
    desk = Desk(work, lumato, **options)
    try:
        story(Window(desk.program), work)
        if desk.program.wait(PATIENCE) != 0:
            raise SystemExit(f"The program ended with {desk.program.returncode}")
    finally:
        desk.close()


def main():
    lumato, lumatoctl = sys.argv[1:3]
    work = prepare(lumatoctl, "160x120", ("one.bmp", 400, 300, RED, BLUE))
    os.utime(work / "user/Pictures/one.bmp", (1700000000, 1700000000))
    lead(story, work, lumato)
    listed = subprocess.run([lumatoctl, "--quiet", "--home", work / "control", "--json", "--frame", work / "a.frame", "list"],
                            check=True, capture_output=True, text=True)
    if '"pictures":[]' not in listed.stdout:
        raise SystemExit("The frame still holds: " + listed.stdout)
    shutil.rmtree(work)


if __name__ == "__main__":
    main()
