"""Kills lumatoctl at random instants of a slow download, and holds what comes back against what was there.

    python3 killed_test.py LUMATOCTL [--kills N] [--seed N] [unittest arguments]
"""
import os
import random
import sys
import time
import unittest

import story
from flash_reader import make_image, put_pictures, streams_of
from story import Story, noise, streams

KILLS, SEED = 12, 1


class Killed(Story):
    def setUp(self):
        super().setUp()
        self.random = random.Random(SEED)

    def listed(self):
        before = self.image()
        pictures = self.good("list")["pictures"]
        self.assert_same_bytes(self.image(), before, "flash after a list")
        for picture in pictures:
            if picture["address"] is not None:
                self.assertIn(self.image()[picture["address"]:picture["address"] + picture["bytes"]], self.known)
        return pictures

    def kill_and_complete(self, duration):
        """An add is killed; another add must leave the old pictures, its own, and the killed one's if it came
        so far that it waits. True when pictures waited."""
        old = streams_of(self.image())
        firmware = self.image()[:0x10000]
        at = self.random.uniform(0, duration)
        process = self.begin("--pace", self.pace, "add", *self.new)
        time.sleep(at)
        process.kill()
        process.wait()
        listed = self.listed()
        waiting = [p for p in listed if p["address"] is None]
        self.assertGreaterEqual(len(listed), len(old))
        coming = self.new_streams[:max(0, len(listed) - len(old))]
        self.assertEqual(sorted(p["bytes"] for p in listed), sorted(map(len, old + coming)))
        self.good("add", self.last)
        self.assertEqual(streams_of(self.image()), old + coming + [self.last_stream], "killed after %.3f s" % at)
        self.assert_same_bytes(self.image()[:0x10000], firmware, "firmware")
        self.assertEqual(os.listdir(self.path("home/state/recovery")), [])
        return bool(waiting)

    def test_a_killed_program_costs_no_picture(self):
        lcd = (96, 64)
        sources = self.sources(*(noise(*lcd, n) for n in (11, 12, 13)))
        self.new, self.last = sources[:2], sources[2]
        old = streams(2, lcd) + streams(1, lcd, noise)
        image = bytes(put_pictures(make_image(lcd, 0x40000), old))
        self.pace = 6

        # What an undisturbed call does, and how long it takes.
        self.put_frame(image)
        begin = time.monotonic()
        self.assertEqual(self.begin("--pace", self.pace, "add", *self.new).wait(), 0)
        duration = time.monotonic() - begin
        self.good("add", self.last)
        self.known = streams_of(self.image())
        self.assertEqual(self.known[:3], old)
        self.new_streams, self.last_stream = self.known[3:5], self.known[5]
        waited = 0
        for _ in range(KILLS):
            self.put_frame(image)
            waited += self.kill_and_complete(duration)
        print("%d kills within %.2f s, after %d of them pictures waited, 0 losses" % (KILLS, duration, waited))
        self.assertGreater(waited, 0, "no kill hit the download")


class OneAtATime(Story):
    def test_a_second_program_is_told_so_and_a_killed_one_leaves_no_lock(self):
        self.put_frame(put_pictures(make_image(), streams(2)))
        before = self.image()
        first = self.begin("--pace", "0.003", "list")
        try:
            time.sleep(0.5)
            self.assertIsNone(first.poll(), "it was to be slow")
            self.assertIn("in use", self.refused(1, "list").err)  # the same frame and home
            frame, home = self.frame, self.home
            self.frame = self.write("second.img", before)
            self.assertIn("in use", self.refused(1, "delete", 1).err)  # the same home
            self.frame, self.home = frame, self.path("second-home")
            self.refused(1, "delete", 1)  # the same frame
            self.assertFalse(os.path.exists(self.home))
            self.home = home
        finally:
            first.kill()
            first.wait()
        self.assertEqual(self.good("delete", 1)["pictures"], 1)


if __name__ == "__main__":
    story.take_files(__doc__)
    for option in ("--kills", "--seed"):
        if option in sys.argv:
            at = sys.argv.index(option)
            globals()[option[2:].upper()] = int(sys.argv[at + 1])
            del sys.argv[at:at + 2]
    unittest.main()
