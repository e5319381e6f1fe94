"""Lets every single file operation of the program fail, or kills the program there, and looks what is left.

    python3 failing_files_test.py LUMATOCTL SHIM [--quick] [--sparse] [unittest arguments]

SHIM is libfailing_files.so (tests/shim/). For each command the n-th operation below the home folder or on the
flash image goes wrong, for n = 1, 2, ... until a run in which nothing went wrong any more. --quick takes one
kind of failure for each n instead of all, --sparse takes every third n.
"""
import glob
import hashlib
import itertools
import os
import shutil
import unittest

import flash_reader
import story
from flash_reader import make_image, put_pictures
from story import Story, noise, streams, wave

SHIM = ""
EVERY = 1
KINDS = ("ENOSPC", "EACCES", "EIO", "KILL")
KILLED = 99
LCD = (48, 32)
FIRMWARE = 0x10000


class FailingFiles(Story):
    def setUp(self):
        super().setUp()
        self.old = streams(2, LCD)
        self.before = bytes(put_pictures(make_image(LCD, firmware_end=0x8000), self.old))
        self.made = self.sources(wave(*LCD, 7), noise(*LCD, 8))
        self.source_bytes = [self.read(os.path.basename(source)) for source in self.made]
        self.out, self.report = self.path("out"), self.path("report")
        self.runs = self.windows = 0

    def start_anew(self, fresh_home):
        for folder in (self.home, self.out):
            shutil.rmtree(folder, ignore_errors=True)
        os.mkdir(self.out)
        if not fresh_home:
            os.mkdir(self.home)
        self.put_frame(self.before)

    def disturbed(self, n, kind, *arguments):
        """Runs a command whose n-th operation goes wrong. What went wrong, or None; and the outcome."""
        if os.path.exists(self.report):
            os.remove(self.report)
        # The address sanitizer wants to be first, and is told that it need not.
        sanitizer = self.environment()["ASAN_OPTIONS"] + ":verify_asan_link_order=0"
        settings = dict(LD_PRELOAD=SHIM, FAILING_FILES_BELOW=":".join((self.home, self.frame, self.out)),
                        FAILING_FILES_AT=str(n), FAILING_FILES_HOW=kind, FAILING_FILES_REPORT=self.report,
                        ASAN_OPTIONS=sanitizer)
        outcome = self.run_program(*arguments, settings=settings, statuses=(0, 1, 2, 3, 4, KILLED))
        self.runs += 1
        return self.read("report").decode().split() if os.path.exists(self.report) else None, outcome

    def whole_files_only(self, what):
        """No name that a reader may trust holds a part of something."""
        size = 54 + (3 * LCD[0] + 3) // 4 * 4 * LCD[1]
        for file in glob.glob(self.home + "/data/*.bmp") + glob.glob(self.out + "/*.bmp"):
            # Where a picture cannot be read, an empty file keeps its number among the saved ones.
            sizes = (size, 0) if os.path.dirname(file) == self.out else (size,)
            self.assertIn(os.path.getsize(file), sizes, "%s after %s" % (file, what))
        for file in glob.glob(self.home + "/Edata/*.bmp"):
            with open(file, "rb") as stream:
                self.assertTrue(flash_reader.decodes(stream.read(), *LCD), "%s after %s" % (file, what))
        for file in glob.glob(self.home + "/state/recovery/*/*.stream"):
            with open(file, "rb") as stream:
                self.assertEqual(hashlib.sha256(stream.read()).hexdigest() + ".stream", os.path.basename(file), what)

    def pictures_kept(self, what, keep):
        """Every picture that nobody deleted is there with its bytes, in its order."""
        have = flash_reader.streams_of(self.image())
        if [stream for stream in have if stream in keep] == keep:
            return
        # A download that ended between making the table invalid and writing it anew: the journal has what was on
        # the frame, and the next download puts it there.
        if not flash_reader.table_is_valid(flash_reader.table_of(self.image())):
            self.windows += 1
            self.good("add", self.made[0])
            have = flash_reader.streams_of(self.image())
            if [stream for stream in have if stream in keep] == keep:
                return
        self.fail("pictures are lost after %s: %d of %d left" % (what, len(have), len(keep)))

    def check_failure(self, what, kind, outcome):
        if kind == "KILL":
            self.assertEqual(outcome.status, KILLED, outcome.err)
            return
        self.assertIn(outcome.status, (0, 1, 3, 4), "%s: %s" % (what, outcome.err))
        if outcome.status != 0:
            reasons = [line for line in outcome.err.splitlines() if line.startswith("lumatoctl: ")]
            self.assertTrue(reasons and all(len(line) > 20 for line in reasons), "no reason after %s" % what)
            self.assertTrue(outcome.json, "no JSON after %s" % what)

    def check_after(self, what, kind, outcome, keep, wanted):
        self.check_failure(what, kind, outcome)
        self.assert_same_bytes(self.image()[:FIRMWARE], self.before[:FIRMWARE], "firmware after %s" % what)
        for source, data in zip(self.made, self.source_bytes):
            self.assert_same_bytes(self.read(os.path.basename(source)), data, "source after %s" % what)
        self.whole_files_only(what)
        if outcome.status == 0:
            self.assertEqual(wanted(outcome), wanted(None), "said done after %s" % what)
        # One plain call later all is as if nothing had been.
        self.good("list")
        self.pictures_kept(what, keep)
        for folder in ("data", "Edata"):
            self.assertEqual(glob.glob("%s/%s/.lumato-*" % (self.home, folder)), [], "left over after %s" % what)

    def every_operation(self, *arguments, keep, result, fresh_home=False):
        """`result`() is what the command has done, to be the same whenever it says that it is done."""
        self.start_anew(fresh_home)
        plain = self.good(*arguments)

        def digest():
            return hashlib.sha256(result()).hexdigest()
        expected = (dict(plain, retries=0), digest())

        def wanted(outcome):  # a block that was written at the second attempt is written
            return (dict(outcome.json, retries=0), digest()) if outcome else expected
        for n in itertools.count(1, EVERY):
            for kind in KINDS[n % 4:n % 4 + 1] if story.QUICK else KINDS:
                self.start_anew(fresh_home)
                what, outcome = self.disturbed(n, kind, *arguments)
                if what is None:
                    self.assertEqual(wanted(outcome), expected, "nothing failed")
                    print("%s: %d operations, %d runs, %d without a valid table" % (
                        arguments[0], n - 1, self.runs, self.windows))
                    self.assertGreater(n, 10, "the shim did not take hold")
                    return
                with self.subTest(n=n, kind=kind, what=what[1:]):
                    self.check_after(what, kind, outcome, keep, wanted)

    def saved(self):
        return b"".join(self.read("out/" + name) for name in sorted(os.listdir(self.out)))

    def test_connecting(self):
        self.every_operation("info", keep=self.old, result=self.image, fresh_home=True)

    def test_adding(self):
        self.every_operation("add", *self.made, keep=self.old, result=self.image)

    def test_deleting(self):
        self.every_operation("delete", 1, keep=self.old[1:], result=self.image)

    def test_saving(self):
        self.every_operation("save", self.out, keep=self.old, result=self.saved)


if __name__ == "__main__":
    _, SHIM = story.take_files(__doc__, 2)
    EVERY = 3 if story.take_option("--sparse") else 1
    unittest.main()
