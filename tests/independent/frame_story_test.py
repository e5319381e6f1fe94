"""Holds the built lumatoctl against the independent codec and the model of the flash.

    python3 frame_story_test.py LUMATOCTL [--quick] [unittest arguments]
"""
import contextlib
import math
import os
import random
import shutil
import struct
import subprocess
import time
import unittest
import zlib

import flash_model
import flash_reader
import story
import stream_codec
from flash_reader import make_image, make_table, put_picture, put_pictures, put_table
from story import Story, noise, streams, wave

SIZES = [(1, 1), (7, 9), (8, 8), (16, 16), (17, 9), (33, 31), (100, 60), (130, 5), (5, 130), (128, 128)]
QUALITIES = [0, 1, 10, 49, 50, 90, 100, 101, -1, 65536 + 30]


class Codec(Story):
    def compare(self, bitmap, size, quality, y_value):
        source, text = self.write("source.bmp", bitmap), "%dx%d" % size
        outcome = self.run_program("encode", source, self.path("stream"), "--size", text,
                                   "--quality=%d" % quality, "--sampling=%d" % y_value, frame=False)
        if outcome.status == 2 and not 0 <= quality <= 100:
            return  # a quality that no person means may be refused at the door
        self.assertEqual(outcome.status, 0, outcome.err)
        expected = stream_codec.encode(bitmap, *size, quality, y_value)
        self.assert_same_bytes(self.read("stream"), expected, "stream %s %d %d" % (text, quality, y_value))
        self.assertEqual(outcome.json["bytes"], len(expected))
        answer = self.good("decode", self.path("stream"), self.path("back.bmp"), "--size", text, frame=False)
        self.assertEqual((answer["width"], answer["height"]), size)
        self.assert_same_bytes(self.read("back.bmp"), stream_codec.decode(expected), "bitmap of " + text)

    def test_every_sampling_value_and_size(self):
        for n, size in enumerate(SIZES):
            for y_value in range(n % 3, 18, 3) if story.QUICK else range(18):
                for make in (wave, noise):
                    self.compare(make(*size), size, 90, y_value)
            self.refused(1, "decode", self.path("stream"), self.path("back.bmp"), "--size",
                         "%dx%d" % (size[0] + 1, size[1]), frame=False)

    def test_every_quality(self):
        for size in [(33, 31)] if story.QUICK else SIZES:
            for y_value in (0, 1, 4, 5, 12) if story.QUICK else range(18):
                for quality in QUALITIES:
                    self.compare(noise(*size, quality & 7), size, quality, y_value)

        row = bytes(v for v in (255, 0, 255, 0, 255, 0, 255, 5) for _ in "bgr")
        self.compare(stream_codec.make_bitmap(8, 8, [row] * 8), (8, 8), 100, 1)  # reaches the largest code

    def test_large_pictures_wrap_the_offsets(self):
        self.compare(noise(320, 240), (320, 240), 100, 1)
        self.compare(wave(2056, 9), (2056, 9), 90, 4)  # more than 255 blocks across

    def test_other_bitmaps(self):
        width, height = 9, 5
        bitmap = bytearray(noise(width, height)[:54])
        for bitmap[28], stride in ((16, 20), (24, 28)):
            for size in (0, 1, stride + 3, stride * height, stride * height + 100):
                self.compare(bytes(bitmap) + random.Random(5).randbytes(size), (width, height), 90, 1)
        self.compare(noise(40, 30)[:-2000], (40, 30), 90, 4)  # rows that are missing are black

    def test_no_bitmap_no_stream(self):
        for name, data in (("text", b"no picture\n" * 20), ("empty", b""), ("other size", wave(9, 8))):
            source = self.write("source", data)
            self.refused(1, "encode", source, self.path("stream"), "--size", "8x9", frame=False)
            self.assertFalse(os.path.exists(self.path("stream")), name)
        self.refused(1, "encode", self.path("missing"), self.path("stream"), "--size", "8x9", frame=False)

    def test_blocks_of_every_kind(self):
        """Flat blocks of every level, and those that hold the largest coefficients there are, black and white."""
        def cosine(at, frequency):
            return math.cos((2 * at + 1) * frequency * math.pi / 16)

        def pixel(x, y):
            if y < 8:
                return x // 8 * 4
            wave = cosine(x % 8, x // 8 % 8) * cosine(y % 8, x // 64)
            return 255 if (wave > 0) == (y < 16) else 0
        rows = [bytes(pixel(x, y) for x in range(512) for _ in range(3)) for y in range(24)]
        for quality in (1, 90, 100):
            self.compare(stream_codec.make_bitmap(512, 24, rows), (512, 24), quality, 4)
        colours = bytes(255 * (n >> channel & 1) for n in range(8) for _ in range(8) for channel in range(3))
        self.compare(stream_codec.make_bitmap(64, 8, [colours] * 8), (64, 8), 100, 1)

    def decoded_as_by_the_twin(self, size, streams):
        """Puts the streams on frames: those that the twin can decode are read back alike, and the others not at all."""
        for start in range(0, len(streams), 509):
            some, expected = streams[start:start + 509], []
            for number, stream in enumerate(some, start):
                with contextlib.suppress(stream_codec.Refused):
                    expected.append((number, stream_codec.decode(stream, size)))
            self.put_frame(put_pictures(make_image(size, 0x200000), some))
            os.mkdir(self.path("out"))
            self.assertEqual(self.good("save", self.path("out"))["saved"], len(expected))
            for n, (number, bitmap) in enumerate(expected, 1):
                self.assert_same_bytes(self.read("out/%d.bmp" % n), bitmap, "stream %d" % number)
            shutil.rmtree(self.path("out"))

    def test_damaged_streams(self):
        variants, generator = [], random.Random(20)
        for number in range(240 if story.QUICK else 4000):
            stream = bytearray(stream_codec.encode(wave(26, 18), 26, 18, 10 + number % 80, 1 + number % 16))
            front = 16 if number % 3 else len(stream) // 2
            for _ in range(generator.randint(1, 8)):
                stream[generator.randrange(front, len(stream))] = generator.randrange(256)
            variants.append(bytes(stream[:generator.randint(1, len(stream))] if number % 4 == 0 else stream))
        self.decoded_as_by_the_twin((26, 18), variants)
        stream = stream_codec.encode(noise(24, 8), 24, 8, 40, 1)
        self.decoded_as_by_the_twin((24, 8), [stream[:cut] for cut in range(1, len(stream) + 1)
                                              if cut > 580 or cut % 9 == 0])

    def test_changed_fronts(self):
        """The first half of a stream's bytes says how the second is to be read."""
        stream = stream_codec.encode(stream_codec.make_bitmap(16, 16, [bytes([128] * 48)] * 16), 16, 16, 90, 12)
        head, quant, codes, data = stream[:16], stream[16:148], stream[148:566], stream[566:]
        variants = [stream[:at] + bytes([value]) + stream[at + 1:] for at in range(len(stream))
                    if at < 200 or at % 5 == 0 for value in {0, 2, 0x20, 255, stream[at] + 1 & 255, stream[at] - 1 & 255}]
        variants += [
            head + b"\0\xC5" + quant[2:] + bytes(65) + codes + data,  # three quantization tables
            head[:5] + bytes(3) + head[8:] + b"\0\x43" + quant[2:67] + codes + data,  # one for all
            head + quant[:67] + b"\0" + quant[68:] + codes + data,  # the same one twice
            head + quant + b"\0\2" + data,  # no codes
            head[:8] + bytes(3) + head[11:] + quant + b"\1\x85" + codes[2:210] + codes[239:] + data,  # a table left out
            head + quant + codes + data + bytes(100),
            *(head[:4] + bytes([mode | 0x0F]) + factor.to_bytes(2, "big") + head[7:] + rest
              for factor in (0, 20, 5000, 5001, 0xFFFF) for mode, rest in ((0, data), (0xF0, data + data)))]
        self.decoded_as_by_the_twin((16, 16), variants)
        for variant in (b"", stream[:15], b"\0\0" + stream[2:], stream[:2] + b"\0\0" + stream[4:]):
            self.write("stream", variant)
            self.write("back.bmp", b"as it was")
            answer = self.refused(1, "decode", self.path("stream"), self.path("back.bmp"), frame=False)
            self.assertIn(self.path("stream"), answer.err + answer.out)
            self.assertEqual(self.read("back.bmp"), b"as it was")

    def test_odd_codes(self):
        """Huffman tables that nobody writes, over data that are not meant for them."""
        stream, generator = stream_codec.encode(noise(64, 8), 64, 8, 90, 9), random.Random(1)
        def table(kind, *counts):
            return bytes([kind, *counts]) + bytes(16 - len(counts)) + bytes(range(1, 1 + sum(counts)))
        def lists(*tables):
            body = b"".join(tables)
            return stream[:16 + 132] + (2 + len(body)).to_bytes(2, "big") + body
        shapes = [(1,), (0,) * 15 + (1,), (0, 4), (1, 1, 1, 2), (0, 0, 0, 16), (0, 0, 1), (0, 1, 5, 1, 1, 1, 1, 1, 1),
                  (0, 0, 0, 0, 17), (1,) * 15 + (3,), (3,), (2, 1)]  # the last four have more codes than there can be
        broad = [*shapes, (1,) * 15 + (2,), (0,) * 7 + (163,), (0, 0, 1, 0, 0, 0, 0, 5, 20, 40, 3), stream_codec.AC_C[0]]
        fronts = [lists(table(0, *shape), table(1, *shape), table(16, *wide), table(17, *broad[-2]))
                  for shape in shapes for wide in broad]
        streams = [front + generator.randbytes(300) for front in fronts * 2]
        # The last definition counts. The code of one bit is 0; 1 and fifteen zeros is the first that names nothing.
        front = lists(table(0, 1), table(1, 1), table(16, *broad[-1]), table(17, *broad[-2]), table(16, 1), table(17, 1))
        streams += [front + int("0" * shift + ("1" + "0" * 15) * 150 + "0" * (16 - shift), 2).to_bytes(302, "big")
                    for shift in range(16)]
        self.decoded_as_by_the_twin((64, 8), streams)

    def test_predictors_wrap(self):
        codes, streams = [stream_codec.codes_of(table) for table in (stream_codec.DC_Y, stream_codec.AC_Y)], []
        for quality in (1, 100):
            streams.append(stream_codec.encode(noise(144, 8), 144, 8, quality, 9)[:566])
            for number in range(18):
                bits = "0" * 8 + stream_codec.coded_block([2047 * (number < 17)] + [0] * 63, 0, *codes)
                bits += "1" * (-len(bits) % 8)
                streams[-1] += int(bits, 2).to_bytes(len(bits) // 8, "big")
        self.decoded_as_by_the_twin((144, 8), streams)


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

    def test_serving_ends_when_told(self):
        """In good order, and within a second also while it waits for somebody to read its trace."""
        os.mkfifo(self.path("pipe"))
        for trace in ((), ("--trace", self.path("pipe"))):
            self.put_frame(make_image())
            socket = self.path("bus%d" % len(trace))
            with subprocess.Popen([story.PROGRAM, *trace, "frame", "serve", self.frame, "--socket", socket],
                                  stderr=subprocess.PIPE) as server:
                if not trace:
                    self.assertIn(b"is on the bus", server.stderr.readline())
                else:
                    time.sleep(0.5)
                server.terminate()
                self.assertEqual(server.wait(10), 0)
            self.assertFalse(os.path.exists(socket))


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
