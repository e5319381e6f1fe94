"""One program at a time: the window and lumatoctl on one home folder or one frame, and a window that is killed.

    python3 one_program_test.py LUMATOCTL LUMATO
"""
import os
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../independent"))
import story
from flash_reader import make_image, put_pictures
from story import Story, noise, streams, wave

PATIENCE = 60


class OneProgram(Story):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"], stdout=subprocess.PIPE,
                               text=True)
        cls.addClassCleanup(bus.stdout.close)
        cls.addClassCleanup(bus.wait)
        cls.addClassCleanup(bus.terminate)
        cls.bus = bus.stdout.readline().strip()

    def setUp(self):
        super().setUp()
        os.rmdir(self.home)
        os.mkdir(self.path("run"), 0o700)
        self.put_frame(make_image((64, 48), 0x100000))
        self.pictures = self.sources(*(wave(64, 48, n) for n in range(1, 4)))

    def environment(self):
        return dict(super().environment(), XDG_RUNTIME_DIR=self.path("run"), DBUS_SESSION_BUS_ADDRESS=self.bus)

    def started(self, process):
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def window(self, *arguments):
        return self.started(subprocess.Popen([LUMATO, "--home", self.home, *arguments], env=self.environment(),
                                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))

    def wait_until(self, condition, what):
        end = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), end, what)
            time.sleep(0.05)

    def streams(self):
        return [name for _, _, files in os.walk(self.path("home/state/recovery")) for name in files if name != "journal"]

    def assert_taken(self, **other):
        """Asks once, with another frame or home: who asks while the other program starts takes the frame from it."""
        mine = self.frame, self.home
        self.frame, self.home = other.get("frame", self.frame), other.get("home", self.home)
        self.assertIn("in use", self.refused(1, "list").err)
        self.frame, self.home = mine

    def test_what_is_asked_of_the_command_line_needs_no_display(self):
        blind = {name: value for name, value in self.environment().items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        rows = [(["--version"], 0, "lumato "), (["--help", "-platform", "xcb"], 0, "--frame"), (["--nothing"], 2, ""),
                (["--pace", "0"], 2, ""), (["--action", "fly"], 2, "")]
        for arguments, status, said in rows:
            done = subprocess.run([LUMATO, *arguments], env=dict(blind, QT_QPA_PLATFORM="xcb"), capture_output=True,
                                  text=True)
            self.assertEqual((done.returncode, said in done.stdout), (status, True), (arguments, done.stderr))

    @staticmethod
    def text_of(language_file):
        if not os.path.exists(language_file):
            return ""
        with open(language_file, encoding="utf-16") as file:
            return file.read()

    def test_the_first_start_speaks_the_desktops_language(self):
        rows = [({"LANG": "pt_BR.UTF-8"}, "Portuguese"), ({"LANG": "en_US.UTF-8", "LANGUAGE": "eo:zh_TW:de"}, "Chinese"),
                ({"LANG": "eo.UTF-8"}, "English")]
        for number, (language, chosen) in enumerate(rows):
            environment = {name: value for name, value in self.environment().items()
                           if name != "LANGUAGE" and not name.startswith("LC_")}
            file = self.path(f"home{number}/Language.ini")
            window = self.started(subprocess.Popen([LUMATO, "--home", os.path.dirname(file)], stderr=subprocess.DEVNULL,
                                                   env=dict(environment, **language)))
            self.wait_until(lambda: f"language_1={chosen}\n" in self.text_of(file), language)
            window.kill()

    def test_the_window_keeps_others_out_and_its_additions_when_it_is_killed(self):
        first = self.window("--frame", self.frame)
        self.wait_until(lambda: os.path.isdir(self.path("home/data")), "the window does not take the frame")
        self.assert_taken(home=self.path("other"))
        self.assert_taken(frame=self.write("other.frame", self.image()))

        # A second window hands its files to the first, which puts them on the list: not every name is a text, and two
        # may look alike.
        odd = [os.path.join(os.fsencode(self.path("")), b"m%srz 1%%#.png" % byte) for byte in (b"\xe4", b"\xe5")]
        for picture, name in zip(self.pictures[1:], odd):
            os.rename(picture, name)
        second = self.window(self.pictures[0], *odd)
        self.assertEqual(second.wait(PATIENCE), 0)
        self.wait_until(lambda: len(self.streams()) == 3, "the files did not get to the first window")
        self.assertEqual(self.window("--action", "show-screen").wait(PATIENCE), 0)
        self.assertIsNone(first.poll())
        time.sleep(0.5)
        first.kill()
        first.wait()
        self.assertEqual([picture["address"] for picture in self.good("list")["pictures"]], [None] * 3)

    def test_what_is_handed_to_a_window_that_is_leaving_is_not_lost(self):
        self.put_frame(put_pictures(make_image((64, 48), 0x100000), streams(2, (64, 48), noise)))
        first = self.window("--frame", self.frame, "--pace", "0.002")
        self.wait_until(lambda: os.path.isdir(self.path("home/data")), "the window does not take the frame")
        first.terminate()  # in the middle of a command that takes its time
        second = self.window("--frame", self.frame, *self.pictures[:2])
        first.wait()
        self.wait_until(lambda: len(self.streams()) == 2, "the files are with neither window")
        second.kill()
        second.wait()

    def test_a_window_that_finds_lumatoctl_changes_nothing(self):
        slow = self.started(self.begin("--pace", "0.0005", "list"))
        self.wait_until(lambda: os.path.isdir(self.home), "lumatoctl does not take the home folder")
        time.sleep(0.3)
        self.assert_taken()
        self.assert_taken(home=self.path("other"))
        self.assert_taken(frame=self.write("other.frame", self.image()))
        window = self.window("--frame", self.frame, *self.pictures)
        with self.assertRaises(subprocess.TimeoutExpired):
            window.wait(4)  # its message stands there
        self.assertIsNone(slow.poll(), "it was to be slow")
        self.assertFalse(os.path.exists(self.path("home/state/recovery")))
        for process in (window, slow):
            process.kill()
            process.wait()
        self.assertEqual(self.good("list")["pictures"], [])


if __name__ == "__main__":
    _, LUMATO = story.take_files(__doc__, 2)
    unittest.main()
