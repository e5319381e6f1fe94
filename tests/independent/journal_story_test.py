"""Downloads that broke off, on frames that are not alone: another home, a twin, a frame that changed meanwhile. What the
program keeps of them is looked at from outside, too.

    python3 journal_story_test.py LUMATOCTL [unittest arguments]
"""
import glob
import hashlib
import os
import unittest

import flash_reader
import story
from flash_reader import make_image, put_pictures, streams_of
from story import Story, streams, wave

LCD = (48, 32)


class Journals(Story):
    def setUp(self):
        super().setUp()
        self.old = streams(3, LCD)
        self.put_frame(put_pictures(make_image(LCD), self.old))
        self.number = 0

    def source(self):
        self.number += 1
        return self.write("new%d.bmp" % self.number, wave(*LCD, 10 + self.number))

    def stream_of(self, source):
        self.composed(source)
        self.good("encode", self.path("composed.bmp"), self.path("s"), "--size", "%dx%d" % LCD, frame=False)
        return self.read("s")

    def cut_adding(self, source):
        """The frame vanishes when its table has been made invalid. The picture's stream."""
        outcome = self.cut("add", source, later=6)
        self.assertFalse(flash_reader.table_is_valid(flash_reader.table_of(self.image())), outcome.err)
        return self.stream_of(source)

    def lists(self, *wanted):
        self.assertEqual(sorted(p["bytes"] for p in self.good("list")["pictures"]), sorted(map(len, wanted)))

    def completes(self, *wanted):
        """All are listed, and on the frame after one more download."""
        self.lists(*wanted)
        another = self.source()
        self.good("add", another)
        self.assertEqual(sorted(streams_of(self.image())), sorted([*wanted, self.stream_of(another)]))

    def kept(self, pattern):
        return sorted(glob.glob(os.path.join(self.home, "state/recovery", pattern)))

    def recover(self, *arguments, **options):
        return self.good("recover", *arguments, frame=False, **options)

    def test_the_journal_of_what_the_frame_holds_counts_not_the_first(self):
        self.cut_adding(self.source())
        first, self.home = self.home, self.path("other home")
        anew = [self.source(), self.source()]
        for source in anew:
            self.good("add", source)
        self.home = first
        second = self.cut_adding(self.source())
        self.completes(*map(self.stream_of, anew), second)
        # The first one fits nothing any more, and is not thrown away.
        self.assertEqual([(j["kind"], j["pictures"]) for j in self.recover()["journals"]], [("download", 4)])

    def test_looking_at_a_twin_costs_nothing(self):
        before = self.image()
        new = self.cut_adding(self.source())
        # A twin as the frame was, and one as it was to be: with all pictures that the journal speaks of.
        for twin in (before, self.finished):
            for use in (("list",), ("info",), ("add", self.source()), ("delete", "--all")):
                with self.subTest(use=use, finished=twin == self.finished):
                    first, self.frame = self.frame, self.path("twin.img")
                    self.write("twin.img", twin)
                    self.good(*use)
                    self.frame = first
                    self.lists(*self.old, new)
        self.completes(*self.old, new)
        self.assertEqual(self.kept("*"), [])

    def test_zeros_whose_sum_is_zero_are_no_block(self):
        """A frame that lies at a read and at the sum of it: what it gave is not written back over its pictures."""
        self.old = streams(12, (160, 120))
        image = put_pictures(make_image((160, 120)), self.old)
        self.put_frame(image)
        source = self.write("new.bmp", wave(160, 120, 10))
        self.good("add", source)
        done = self.image()
        reads = [n for n, line in enumerate(self.read("trace.txt").decode().splitlines(), 1)
                 if line[:2] == "CD" and line[20:22] == "03" and int(line[14:20], 16) > 0xFFFF]
        self.assertGreater(len(reads), 2, "the table's block twice, and the one in which the pictures end")
        for number, n in enumerate(reads):
            with self.subTest(read=n):
                self.home = self.path("home%d" % number)
                self.put_frame(image)
                self.run_program("--fault", "%d:lie" % n, "--fault", "%d:lie" % (n + 2), "add", source, statuses=(0, 4))
                self.good("download")
                self.assert_same_bytes(self.image(), done)

    def test_what_a_killed_program_had_not_kept_yet_goes(self):
        """A stream without any journal: the picture was never said to be kept, and would be listed as damage for ever."""
        self.cut_adding(self.source())
        folder, = self.kept("*")
        os.rename(folder + "/journal", folder + "/.lumato-0123456789abcdef.tmp")
        self.good("info")
        self.assertEqual(self.kept("*"), [])
        self.assertEqual(self.recover()["journals"], [])

    def test_a_byte_that_says_nothing_changes_no_frame(self):
        new = self.cut_adding(self.source())
        image = bytearray(self.image())
        image[50] ^= 1
        self.put_frame(image)
        self.completes(*self.old, new)

    def test_only_what_can_be_lost_is_copied_for_the_owner_alone(self):
        os.umask(0)
        new = self.cut_adding(self.source())
        self.assertEqual([os.path.basename(file) for file in self.kept("*/*.stream")],
                         [hashlib.sha256(new).hexdigest() + ".stream"])
        for folder, _, files in os.walk(self.home + "/state"):
            self.assertEqual([oct(os.stat(os.path.join(folder, name)).st_mode & 0o777) for name in (".", *files)],
                             ["0o700"] + ["0o600"] * len(files))
        self.completes(*self.old, new)

    def test_recover_gives_the_pictures_out(self):
        # Stored pictures in blocks that are written come from these, the others stay on the frame.
        new = self.cut_adding(self.source())
        journal, = self.recover()["journals"]
        self.assertEqual((journal["pictures"], journal["kind"]), (4, "download"))
        out = self.path("out")
        self.assertEqual(self.recover(journal["number"], "--save", out), {"saved": 4, "on_frame": 0})
        for n, stream in enumerate((*self.old, new), 1):
            self.assert_same_bytes(self.read("out/%d.stream" % n), stream)
            self.assertEqual(self.read("out/%d.bmp" % n)[:2], b"BM")
        self.refused(1, "recover", journal["number"], "--save", out, frame=False)
        for wrong in (("0",), ("1",), ("--save", out), ("1", "--save", self.home + "/state/recovery/x")):
            self.refused(2, "recover", *wrong, frame=False)
        self.refused(1, "recover", 99, "--save", out, frame=False)
        # Set aside, it is offered to no frame, and still gives its pictures out.
        self.recover(journal["number"], "--forget")
        self.lists()
        self.assertEqual(self.recover()["journals"][0]["kind"], "forgotten")
        self.assertEqual(self.recover(journal["number"], "--save", self.path("out2"))["saved"], 4)

    def test_what_is_no_journal_of_this_version_stays(self):
        self.cut_adding(self.source())
        file, = self.kept("*/journal")
        whole = self.read(file)
        for kind, changed in (("unknown", b"LUMATOJ9" + whole[8:-32]), ("damaged", b"LUMATOJ9" + whole[8:-33])):
            with self.subTest(kind=kind):
                changed += hashlib.sha256(changed).digest() if kind == "unknown" else bytes(32)
                self.write(file, changed)
                self.lists()
                self.assertEqual(self.recover()["journals"][0]["kind"], kind)
                self.assertEqual([self.read(left) for left in self.kept("*/journal")], [changed])
                self.assertEqual(self.recover(1, "--save", self.path(kind))["saved"], 1)


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
