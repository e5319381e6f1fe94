"""Holds the built lumatoctl against the model of the flash.

    python3 frame_story_test.py LUMATOCTL [--quick] [unittest arguments]
"""
import os
import random
import struct
import unittest
import zlib

import flash_model
import flash_reader
import story
import stream_codec
from flash_reader import make_image, make_table, put_picture, put_pictures, put_table
from story import Story, noise, streams, wave


class Operations(Story):
    def test_new_frames_are_what_was_asked_for(self):
        self.good("frame", "new", self.frame, "--lcd", "48x32", "--flash", "512K", "--limit", 7, "--sampling", 1,
                  "--quality", 70, "--erase", "20", "--page-option", 1, "--firmware-end", "0x11234", frame=False)
        image = self.image()
        self.assertEqual(len(image), 0x80000)
        information = flash_reader.Information(image)
        self.assertEqual((information.lcd_width, information.lcd_height, information.table_address,
                          information.flash_size, information.picture_limit, information.sampling,
                          information.quality, information.erase_instruction, information.page_option),
                         (48, 32, 0x20000, 0x80000, 7, 1, 70, 0x20, 1))
        self.assertEqual(set(image[0x20000:]), {0xFF})
        self.connect_as_model()

    def test_frames_that_cannot_be(self):
        usual = {"--lcd": "48x32", "--flash": "512K"}
        wrong = {"--lcd": ("8x0",), "--flash": ("124K", "524289", "16M"),
                 "--table": ("0", "0x18000", "0x80000"), "--firmware-end": ("0", "0x70001", "0x80000", "0xFFFFFFFF"),
                 "--sampling": ("256",), "--quality": ("256",), "--erase": ("C7",)}

        def make(**options):
            return ["frame", "new", self.frame, *(part for pair in {**usual, **options}.items() for part in pair)]
        for option, values in wrong.items():
            for value in values:
                with self.subTest(option=option, value=value):
                    self.refused(2, *make(**{option: value}), frame=False)
                    self.assertFalse(os.path.exists(self.frame))
        os.symlink("nowhere", self.frame)
        self.refused(1, *make(), frame=False)
        os.remove(self.frame)
        self.good(*make(**{"--firmware-end": "0x6FFFF"}), frame=False)
        before = self.image()
        self.refused(1, *make(), frame=False)  # the pictures of a frame are never overwritten
        self.assert_same_bytes(self.image(), before)

    def test_connecting_reads_and_saves(self):
        self.put_frame(put_pictures(make_image(firmware_end=0xF000), streams(3)))
        model = self.connect_as_model()
        before = self.image()
        os.mkdir(self.path("out"))
        self.assertEqual(self.good("save", self.path("out"))["saved"], 3)
        self.assert_same_bytes(self.image(), before)
        for n, stream in enumerate(model.pictures, 1):
            self.assert_same_bytes(self.read("out/%d.bmp" % n), stream_codec.decode(stream), "%d.bmp" % n)

    def test_adding(self):
        rows = [  # stored pictures, added ones, LCD, first stored address (default: behind the table), flash size
            (0, 1, (48, 32), None, 0x40000), (0, 3, (131, 67), None, 0x40000), (2, 2, (48, 32), None, 0x40000),
            (2, 2, (48, 32), 0x1FC00, 0x40000), (2, 1, (48, 32), 0x23000, 0x40000), (2, 2, (48, 32), 0x3EF00, 0x40000),
            (0, 2, (240, 160), None, 0x80000), (1, 3, (240, 160), None, 0x80000), (2, 3, (240, 160), 0x23000, 0x80000),
            (2, 2, (240, 160), 0x5D000, 0x80000)]
        for erase in (0xD8, 0x52, 0x20):
            for stored, added, lcd, address, flash_size in rows[:5] if story.QUICK and erase == 0x52 else rows:
                with self.subTest(erase=hex(erase), stored=stored, added=added, lcd=lcd, address=address):
                    image = make_image(lcd, flash_size, erase=erase, page_option=stored)
                    image[0x10000:0x40000] = random.Random(3).randbytes(0x30000)  # left over by somebody else
                    at, slots = address or 0x11000, []
                    for stream in streams(stored, lcd, noise):
                        slots.append(put_picture(image, at, stream))
                        at += len(stream)
                    put_table(image, make_table(slots))
                    self.put_frame(image[:flash_size])
                    made = [noise(*lcd, 90 + n) for n in range(added)]
                    self.assertEqual(self.add_as_model(self.sources(*made)), (added, 0))
                    self.connect_as_model()

    def test_deleting(self):
        for erase in (0xD8, 0x20):
            for positions in ((1,), (5,), (2, 4), (5, 3), (1, 2, 3, 4, 5), ()):
                with self.subTest(erase=hex(erase), positions=positions):
                    self.put_frame(put_pictures(make_image(erase=erase), streams(5), header=b"keep as read"))
                    self.delete_as_model(*positions)
                    self.connect_as_model()
                    self.add_as_model(self.sources(wave(48, 32, 9)))
        before = flash_reader.Information(self.image())
        self.delete_as_model()
        self.assertEqual(self.good("delete", "--all")["pictures"], 0)  # nothing left: nothing sent to the flash
        self.assert_trace(flash_model.Frame(self.image()).connect().trace)
        self.assertEqual(before.table_address, 0x10000)

    def test_moving(self):
        image = put_pictures(make_image(), streams(5), header=b"keep as read")
        for origin, target in ((1, 5), (5, 1), (2, 4), (3, 2)):
            with self.subTest(origin=origin, target=target):
                self.put_frame(image)
                work = self.good("move", origin, target, "--dry-run")
                self.assertEqual(work["blocks"], 2)  # the table's block: made invalid, and written anew
                self.good("move", origin, target)
                self.assert_as_model(image, lambda frame: (frame.move(origin, target), frame.download()))
                self.connect_as_model()
                self.add_as_model(self.sources(wave(48, 32, 9)))  # behind the highest of addresses that do not rise
                self.delete_as_model(2, 4)
        for wrong in ((0, 1), (1, 5), (5, 1)):
            self.refused(2 if 0 in wrong else 1, "move", *wrong)
        self.good("move", 3, 3)  # nothing to do: nothing sent to the flash
        self.assert_trace(flash_model.Frame(self.image()).connect().trace)

    def test_refused_sources_leave_the_others(self):
        self.put_frame(make_image())
        before = self.image()
        bad = [self.path("missing.bmp"), self.write("text.bmp", b"words, words\n" * 30), self.write("empty.png", b""),
               self.path("folder")]
        os.mkdir(bad[3])
        first, last = self.sources(wave(48, 32, 1), wave(96, 64, 2))
        outcome = self.run_program("add", bad[0], first, *bad[1:], last)
        self.assertEqual(outcome.status, 1, outcome.err)
        self.assertEqual([a["file"] for a in outcome.json["added"]], [first, last])
        self.assertEqual([r["file"] for r in outcome.json["refused"]], bad)
        coded = [stream_codec.encode(self.read("home/data/Picture%d.bmp" % n), 48, 32, 90, 4) for n in (1, 2)]
        self.assert_as_model(before, lambda frame: (frame.add(coded), frame.download()))
        self.refused(1, "add", *bad)

    def test_limits_and_full_flash(self):
        many = self.sources(*(noise(160, 120, n) for n in range(6)))
        frames = [make_image((160, 120), size, limit=limit, quality=quality, sampling=y_value)
                  for limit, size, quality, y_value in ((3, 0x40000, 90, 4), (6, 0x20000, 90, 1), (1, 0x20000, 95, 12),
                                                        (0, 0x20000, 20, 8))]
        # The record by which the table is found behind the pictures, at 0x31000; an end that cannot be erased.
        frames += [make_image((160, 120), 0x50000, erase=erase, **odd) for erase in (0xD8, 0x52, 0x20)
                   for odd in ({"firmware_end": 0xF000, "pointer": 201216}, {"told_size": 0x3FF9C})]
        for n, image in enumerate(frames):
            with self.subTest(frame=n):
                self.put_frame(image)
                self.add_as_model(many)
                self.connect_as_model()
        for image in frames[4::2]:  # stored where nothing can be written: read, and moved when everything is
            put_table(image, make_table([put_picture(image, 0x31040, streams(1, (160, 120))[0])]))
            self.put_frame(image)
            self.add_as_model(many[:1])
            self.assertEqual(len(self.connect_as_model().pictures), 2)


def png_rows(data):
    """The rows of a PNG file of 24-bit colours, top row first."""
    width, height, depth, colours = struct.unpack_from(">IIBB", data, 16)
    assert (depth, colours) == (8, 2)
    chunks, at = b"", 8
    while at < len(data):
        length, kind = struct.unpack_from(">I4s", data, at)
        chunks += data[at + 8:at + 8 + length] if kind == b"IDAT" else b""
        at += 12 + length
    pixels, rows, above = zlib.decompress(chunks), [], bytes(3 * width)
    for start in range(0, len(pixels), 3 * width + 1):
        row = bytearray(pixels[start + 1:start + 1 + 3 * width])
        for i in range(len(row)):
            a, b, c = (row[i - 3], above[i], above[i - 3]) if i > 2 else (0, above[i], 0)
            paeth = min((a, b, c), key=lambda value: abs(a + b - c - value))
            row[i] = row[i] + (0, a, b, (a + b) // 2, paeth)[pixels[start]] & 255
        rows.append(bytes(row))
        above = row
    return rows


class OddFrames(Story):
    def shows_as_model(self, model):
        """The frame's own reading of its flash shows the same pictures."""
        size = model.info.lcd_width, model.info.lcd_height
        for position, stream in enumerate(model.pictures, 1):
            self.good("frame", "render", self.frame, position, self.path("shown.png"), frame=False)
            bgr = stream_codec.bitmap_rows(stream_codec.decode(stream), *size)
            self.assertEqual(png_rows(self.read("shown.png")), [
                bytes(row[3 * x + c] for x in range(size[0]) for c in (2, 1, 0)) for row in bgr])
        self.refused(1, "frame", "render", self.frame, len(model.pictures) + 1, self.path("shown.png"), frame=False)

    def test_odd_tables(self):
        a, b, c = streams(3)
        place = {0x12000: a, 0x18000: b, 0x15000: c, 0x40000 - len(a): a}
        good = [(1, at, len(stream)) for at, stream in place.items()]
        tables = {
            "other states": make_table([(2, 5, 5), good[0], (255, 0xFFFFFF, 0xFFFFFF), good[1], (254, 1, 1)]),
            "only other states": make_table([(2, 5, 5), (255, 1, 1)]),
            "gaps": make_table([None, good[0], None, None, good[1]]),
            "out of range": make_table([(1, 0xFFF0, 90), good[0], (1, 0x3FFFF, 2), (1, 0xFFFFFF, 0xFFFFFF), good[2]]),
            "out of order": make_table([good[1], good[0], good[2]]),
            "at the end": make_table([good[1], good[3]]),
            "overlapping": make_table([good[0], good[0], (1, 0x12000, len(a) + 64), good[1]]),
            "damaged": make_table([good[0], (1, 0x30000, 900), (1, 0x12000, 0), (1, 0x12000, 400), good[1]]),
            "last slot": make_table([good[0]] + [None] * 508 + [(1, 0x18000, len(b))]),
            "signature": make_table(good[:3], signature=b"ABFT"),
            "end mark": make_table(good[:3], end_mark=b"\x55\xAB"),
            "invalidated": make_table(good[:3], end_mark=b"\x00\xAA"),
        }
        for erase in (0xD8, 0x20):
            for name, table in tables.items():
                with self.subTest(table=name, erase=hex(erase)):
                    image = make_image(erase=erase)
                    for at, stream in place.items():
                        put_picture(image, at, stream)
                    put_table(image, table)
                    self.put_frame(image)
                    model = self.connect_as_model()
                    self.shows_as_model(model)
                    self.add_as_model(self.sources(wave(48, 32, 7)))
                    self.connect_as_model()
                    if len(model.pictures) > 1:
                        self.put_frame(image)
                        self.delete_as_model(1)
                        self.connect_as_model()

    def test_a_firmware_header_with_a_wrong_sum_is_none(self):
        image = put_pictures(make_image(), streams(1))
        image[256:264] = b"DPFH\xDF\0\x30\0"
        self.put_frame(image)
        self.shows_as_model(self.connect_as_model())
        self.put_frame(put_pictures(make_image(firmware_end=0x11234, flash_size=0x80000), streams(1)))
        self.shows_as_model(self.connect_as_model())

    def test_a_full_table(self):
        small = streams(4, (8, 8))
        self.put_frame(put_pictures(make_image((8, 8), 0x100000), (small * 128)[:508]))
        self.assertEqual(self.add_as_model(self.sources(wave(8, 8, 1), wave(8, 8, 2))), (1, 1))
        self.assertEqual(len(self.connect_as_model().pictures), 509)
        self.assertEqual(self.add_as_model(self.sources(wave(8, 8, 3))), (0, 1))
        self.delete_as_model(509, 1, 250)

    def test_frames_that_make_no_sense(self):
        def changed(at, data, **options):
            image = put_pictures(make_image(**options), streams(1))
            image[at:at + len(data)] = data
            return image
        frames = {"no width": changed(35, b"\0\0"), "no height": changed(37, b"\0\0"),
                  "table inside a block": changed(32, b"\x00\x10\x01"), "table at 0": changed(32, bytes(3)),
                  "table behind the flash": changed(32, b"\0\0\x04"), "flash too small": changed(43, b"\xFF\xFF\x01"),
                  "no flash": changed(43, bytes(3)), "erases everything": make_image(erase=0xC7),
                  "erases everything, otherwise": make_image(erase=0x60),
                  "firmware pointer outside": changed(261, b"\0\0\x80", firmware_end=0x8000),
                  "firmware pointer below 512": changed(261, b"\xFF\1\0", firmware_end=0x8000),
                  "firmware ends at 0": make_image(firmware_end=0),
                  "record in the table": make_image(firmware_end=0x8000, pointer=0x14000),
                  "record reaches into the table": make_image(firmware_end=0x8000, pointer=0x10200 - 32)}
        source = self.sources(wave(48, 32))[0]
        for name, image in frames.items():
            with self.subTest(frame=name):
                self.put_frame(image)
                for command in (("info",), ("add", source), ("delete", "--all")):
                    self.refused(1, *command)
                if "flash" not in name and "erases" not in name and "record" not in name:
                    self.refused(1, "frame", "render", self.frame, 1, self.path("shown.png"), frame=False)

    def test_a_frame_that_cannot_be_erased_shows_its_pictures(self):
        self.put_frame(put_pictures(make_image(erase=0xD7), streams(2)))
        self.connect_as_model()
        for command in ("add", self.sources(wave(48, 32))[0]), ("delete", 1), ("delete", "--all"):
            self.assertIn("can only be read", self.refused(1, *command).err)

    def test_unusable_images(self):
        for size in (0, 600, 0x1F000, 0x20001, 0x1000000 + 4096):
            with self.subTest(size=size):
                self.put_frame(bytes(size))
                self.refused(3, "info")
                self.refused(3, "frame", "render", self.frame, 1, self.path("shown.png"), frame=False)
        for make in (lambda at: None, os.mkdir, os.mkfifo):
            os.rmdir(self.frame) if os.path.isdir(self.frame) else os.remove(self.frame)
            make(self.frame)
            self.refused(3, "info")
            if not os.path.exists(self.frame):
                self.put_frame(b"")


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
