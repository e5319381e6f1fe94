"""One program at a time: the window and lumatoctl on one home folder or one frame, and a window that is killed.

    python3 one_program_test.py LUMATO LUMATOCTL
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

PATIENCE = 60
BITMAP_HEADER = bytes.fromhex("424d460000000000000036000000280000000200000002000000010018000000000010000000" + "00" * 16)


class OneProgram(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="lumato-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.home, self.frame = self.path("home"), self.path("frame")
        os.mkdir(self.path("run"), 0o700)
        self.environment = dict(os.environ, HOME=self.folder, XDG_RUNTIME_DIR=self.path("run"), LC_ALL="C.UTF-8")
        self.windows = []
        self.addCleanup(self.close)
        self.control("frame", "new", self.frame, "--lcd", "64x48", "--flash", "1M", where=[])
        self.pictures = [self.path("%d.bmp" % n) for n in range(2)]
        for picture in self.pictures:
            with open(picture, "wb") as file:
                file.write(BITMAP_HEADER + bytes([len(picture) * 7 % 251, 255 * (picture == self.pictures[0])] * 8))

    def path(self, name):
        return os.path.join(self.folder, name)

    def close(self):
        for window in self.windows:
            window.kill()
            window.wait()

    def control(self, *arguments, where=None, status=0):
        where = ["--home", self.home, "--frame", self.frame] if where is None else where
        done = subprocess.run([LUMATOCTL, *where, "--json", *arguments], env=self.environment, capture_output=True,
                              timeout=PATIENCE)
        self.assertEqual(done.returncode, status, done.stderr.decode())
        return done

    def window(self, *arguments):
        self.windows.append(subprocess.Popen([LUMATO, "--home", self.home, *arguments], env=self.environment,
                                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        return self.windows[-1]

    def wait_until(self, condition, what):
        end = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), end, what)
            time.sleep(0.05)

    def streams(self):
        found = []
        for folder, _, files in os.walk(self.path("home/state/recovery")):
            found += [name for name in files if name != "journal"]
        return found

    def is_taken(self):
        """Asks once: who asks while the other one starts takes the frame from it."""
        where = ["--home", self.path("other"), "--frame", self.frame]
        done = subprocess.run([LUMATOCTL, *where, "info"], env=self.environment, capture_output=True)
        return b"in use" in done.stderr

    def test_the_window_keeps_others_out_and_its_additions_when_it_is_killed(self):
        first = self.window("--frame", self.frame)
        self.wait_until(lambda: os.path.isdir(self.path("home/data")), "the window does not take the frame")
        self.assertTrue(self.is_taken())
        with open(self.frame, "rb") as file:
            before = file.read()
        other = self.path("other.frame")
        self.control("frame", "new", other, "--lcd", "64x48", "--flash", "1M", where=[])
        self.assertIn(b"in use", self.control("list", where=["--home", self.home, "--frame", other], status=1).stderr)
        with open(self.frame, "rb") as file:
            self.assertEqual(file.read(), before)

        # A second window hands its files to the first, which puts them on the list.
        second = self.window(*self.pictures)
        self.assertEqual(second.wait(PATIENCE), 0)
        self.wait_until(lambda: len(self.streams()) == 2, "the files did not get to the first window")
        self.assertIsNone(first.poll())
        time.sleep(0.5)
        first.kill()
        first.wait()
        listed = json.loads(self.control("list").stdout)["pictures"]
        self.assertEqual([picture["address"] for picture in listed], [None, None])

    def test_a_window_that_finds_lumatoctl_changes_nothing(self):
        slow = subprocess.Popen([LUMATOCTL, "--home", self.home, "--frame", self.frame, "--pace", "0.0005", "list"],
                                env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(slow.wait)
        self.addCleanup(slow.kill)
        self.wait_until(lambda: os.path.isdir(self.home), "lumatoctl does not take the home folder")
        time.sleep(0.3)
        self.assertTrue(self.is_taken())
        window = self.window("--frame", self.frame, *self.pictures)
        with self.assertRaises(subprocess.TimeoutExpired):
            window.wait(4)  # its message stands there
        self.assertIsNone(slow.poll(), "it was to be slow")
        self.assertFalse(os.path.exists(self.path("home/state/recovery")))


if __name__ == "__main__":
    LUMATO, LUMATOCTL = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
