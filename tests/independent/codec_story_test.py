"""Holds the built lumatoctl against the independent codec, both ways, with streams that are sound and such as are not.

    python3 codec_story_test.py LUMATOCTL [--quick] [unittest arguments]
"""
import contextlib
import math
import os
import random
import shutil
import unittest

import story
import stream_codec
from flash_reader import make_image, put_pictures
from story import Story, noise, wave

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
        variants, generator = [], random.Random(story.seed(20))
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
        stream, generator = stream_codec.encode(noise(64, 8), 64, 8, 90, 9), random.Random(story.seed(1))
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


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
