"""Kills lumatoctl at random instants of a slow download, and holds what comes back against what was there.

    python3 killed_test.py LUMATOCTL [--kills N] [--seed N] [unittest arguments]
"""
import os
import random
import signal
import subprocess
import sys
import time
import unittest

import flash_reader
import story
import stream_codec
from flash_reader import make_image, put_pictures
from self_test import wave
from story import Story

KILLS, SEED = 12, 1


class Killed(Story):
    def setUp(self):
        super().setUp()
        self.random = random.Random(SEED)

    def start(self, *arguments, pace):
        command = self.command("--pace", pace, *arguments)
        self.commands.append(" ".join(command))
        return subprocess.Popen(command, env=self.environment(), cwd=self.folder, stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL)

    def stored(self):
        """The streams on the frame, in order."""
        image = self.image()
        table = flash_reader.Information(image).table_address
        slots = [flash_reader.slot(image[table:table + 4096], k) for k in range(1, 510)]
        return [image[at:at + length] for status, at, length in slots if status == 1]

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
        old = self.stored()
        firmware = self.image()[:0x10000]
        at = self.random.uniform(0, duration)
        process = self.start("add", *self.new, pace=self.pace)
        time.sleep(at)
        process.send_signal(signal.SIGKILL)
        process.wait()
        listed = self.listed()
        waiting = [p for p in listed if p["address"] is None]
        self.assertGreaterEqual(len(listed), len(old))
        coming = self.new_streams[:max(0, len(listed) - len(old))]
        self.assertEqual(sorted(p["bytes"] for p in listed), sorted(map(len, old + coming)))
        self.good("add", self.last)
        self.assertEqual(self.stored(), old + coming + [self.last_stream], "killed after %.3f s" % at)
        self.assert_same_bytes(self.image()[:0x10000], firmware, "firmware")
        self.assertEqual(os.listdir(self.path("home/state/recovery")), [])
        return bool(waiting)

    def test_a_killed_program_costs_no_picture(self):
        lcd = (96, 64)
        sources = self.sources(*(story.noise(*lcd, n) for n in (11, 12, 13)))
        self.new, self.last = sources[:2], sources[2]
        old = [stream_codec.encode(wave(*lcd, n), *lcd, 90, 4) for n in (1, 2)]
        old += [stream_codec.encode(story.noise(*lcd, 5), *lcd, 90, 4)]
        image = bytes(put_pictures(make_image(lcd, 0x40000), old))
        self.pace = 6

        # What an undisturbed call does, and how long it takes.
        self.put_frame(image)
        begin = time.monotonic()
        self.assertEqual(self.start("add", *self.new, pace=self.pace).wait(), 0)
        duration = time.monotonic() - begin
        self.good("add", self.last)
        self.known = self.stored()
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
        self.put_frame(put_pictures(make_image(), [stream_codec.encode(wave(48, 32, n), 48, 32, 90, 4) for n in (1, 2)]))
        before = self.image()
        trace = self.trace_file
        self.trace_file = self.path("other-trace.txt")
        first = subprocess.Popen(self.command("--pace", "0.003", "list"), env=self.environment(), cwd=self.folder,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.trace_file = trace
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
    arguments = sys.argv[1:]
    story.PROGRAM = os.path.abspath(arguments.pop(0))
    for option in ("--kills", "--seed"):
        if option in arguments:
            at = arguments.index(option)
            globals()[option[2:].upper()] = int(arguments[at + 1])
            del arguments[at:at + 2]
    unittest.main(argv=[sys.argv[0]] + arguments)
