"""Checks of the independent readers and writers themselves against worked examples. What else they say, the program says,
too: frame_story_test.py."""
import unittest

import flash_model
import stream_codec
from flash_reader import make_image, put_pictures


def flat(width, height, value):
    return stream_codec.make_bitmap(width, height, [bytes([value]) * (3 * width)] * height)


class Codec(unittest.TestCase):
    def test_tables_have_the_sizes_of_the_standard(self):
        for (counts, symbols), codes in ((stream_codec.DC_Y, 12), (stream_codec.DC_C, 12), (stream_codec.AC_Y, 162),
                                         (stream_codec.AC_C, 162)):
            self.assertEqual((sum(counts), len(symbols), len(set(symbols))), (codes,) * 3)
        self.assertEqual(stream_codec.FORWARD_SCALE[:8], [16384, 22725, 21407, 19266, 16384, 12873, 8867, 4520])
        self.assertEqual(stream_codec.INVERSE_SCALE[:8], [64, 88, 83, 75, 64, 50, 34, 17])
        self.assertEqual((stream_codec.FORWARD_SCALE[63], stream_codec.INVERSE_SCALE[63]), (1247, 4))
        self.assertEqual(stream_codec.scaled(stream_codec.LUMINANCE, 20)[:8], [3, 2, 2, 3, 5, 8, 10, 12])
        self.assertEqual([stream_codec.scale_factor(q) for q in (90, 50, 49, 10, 1, 0, 100, 101, -1, 65536)],
                         [20, 100, 102, 500, 5000, 5000, 0, 0, 0, 5000])

    def test_grey_pictures_are_the_known_bytes(self):
        for side, y_value, mode, coded in ((16, 4, "03", "0028a28a"), (8, 1, "00", "002b")):
            for quality in (1, 50, 90, 100):
                stream = stream_codec.encode(flat(side, side, 128), side, side, quality, y_value)
                head = "00%02x00%02x%s00010100010100010100000000000000002e02" % (side, side, mode)
                self.assertEqual((stream[:24].hex(), stream[574:].hex()), (head, coded))
                self.assertEqual(stream_codec.decode(stream)[54:], bytes([128]) * (3 * side * side))


class Model(unittest.TestCase):
    def test_command_blocks(self):
        image = put_pictures(make_image(page_option=1), [b"p" * 1000])
        frame = flash_model.Frame(image, decode=lambda stream, width, height: True).connect()
        self.assertEqual(frame.trace[1:4], ["CD0000000000040002000300000000" + "00 in 512 00",
                                            "CD0000000000010000400500000000" + "00 in 64 00",
                                            "CD0000000005050200000000000000" + "00 in 64 00"])
        self.assertIn("CD000000000505100000000100000000 in 64 00", frame.trace)
        self.assertIn("CD000000000004000400030110000000 in 1024 00", frame.trace)
        frame.download()
        self.assertIn("CB000000000004010000020100000002 out 65536 00", frame.trace)
        self.assertIn("CB000000000004000000D80100000000 none 0 00", frame.trace)


if __name__ == "__main__":
    unittest.main()
