"""Checks of the independent readers and writers themselves: against worked examples and one another."""
import math
import unittest

import flash_model
import flash_reader
import stream_codec
from flash_reader import make_image, make_table, put_pictures, put_table


def wave(width, height, phase=0.0):
    """A bitmap with slopes, edges and colours, different for every phase."""
    rows = []
    for y in range(height):
        row = bytearray()
        for x in range(width):
            edge = 60 if (x // 11 + y // 7) % 2 else 0
            row += bytes(int(97 + 90 * math.sin(x / 19 + y / 27 + channel + phase)) + edge for channel in range(3))
        rows.append(row)
    return stream_codec.make_bitmap(width, height, rows)


def flat(width, height, value):
    return stream_codec.make_bitmap(width, height, [bytes([value]) * (3 * width)] * height)


def psnr(first, second, width, height):
    pixels = [b"".join(stream_codec.bitmap_rows(bitmap, width, height)) for bitmap in (first, second)]
    error = sum((a - b) ** 2 for a, b in zip(*pixels)) / len(pixels[0])
    return 10 * math.log10(255 ** 2 / error) if error else math.inf


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

    def test_layout_of_a_large_stream(self):
        stream = stream_codec.encode(flat(320, 240, 200), 320, 240, 90, 4)
        self.assertEqual(stream[:16].hex(), "014000f0030001010001010001010000")
        self.assertEqual(int.from_bytes(stream[22:24], "little"), 2950)
        self.assertEqual(stream[2416:2418].hex() + stream[2548:2550].hex(), "008401a2")

    def test_every_variant_comes_back(self):
        for y_value in range(18):
            for width, height in ((1, 1), (17, 9), (33, 31)):
                source = wave(width, height)
                stream = stream_codec.encode(source, width, height, 97, y_value)
                back = stream_codec.decode(stream, (width, height))
                self.assertEqual(back[:34], source[:34])
                if y_value in (1, 5, 9, 13, 17):  # without shared chrominance
                    self.assertGreater(psnr(source, back, width, height), 30, (y_value, width, height))

    def test_padding_is_the_next_decoded_pixel(self):
        back = stream_codec.decode(stream_codec.encode(flat(130, 5, 77), 130, 5, 90, 1))
        self.assertEqual((len(back), back[54 + 390:54 + 392], back[34:38]),
                         (54 + 5 * 392, b"\x4d\x4d", (5 * 392).to_bytes(4, "little")))

    def test_cut_streams_keep_whole_mcus_and_others_are_refused(self):
        stream = stream_codec.encode(wave(32, 16), 32, 16, 90, 1)
        whole, cut = stream_codec.decode(stream), stream_codec.decode(stream[:-1])
        self.assertEqual(cut[-96:], whole[-96:])  # the top row
        self.assertEqual(cut[54:54 + 96], whole[54:54 + 72] + bytes(24))  # the last MCU, bottom right
        tables = 16 + 8 * 8
        wrong = [b"", stream[:16], stream[:tables + 550 + 7], b"\0\0" + stream[2:],
                 stream[:5] + b"\2" + stream[6:], stream[:tables] + b"\1\x84" + stream[tables + 2:],
                 stream[:tables + 134] + b"\5" + stream[tables + 135:],
                 stream[:tables + 136] + b"\x22" + stream[tables + 137:]]
        for number, bad in enumerate(wrong):
            with self.assertRaises(stream_codec.Refused, msg=number):
                stream_codec.decode(bad)
        with self.assertRaises(stream_codec.Refused):
            stream_codec.decode(stream, (16, 32))


class Reader(unittest.TestCase):
    def test_what_is_crafted_is_read(self):
        stream = stream_codec.encode(wave(48, 32), 48, 32, 90, 4)
        image = put_pictures(make_image(limit=7, quality=60, erase=0x20, page_option=1), [stream, b"junk", stream])
        report = flash_reader.report(image)
        self.assertEqual([(p["slot"], p["address"], p["length"], p["decodes"]) for p in report["pictures"]],
                         [(1, 0x11000, len(stream), True), (2, 0x11000 + len(stream), 4, False),
                          (3, 0x11004 + len(stream), len(stream), True)])
        self.assertEqual((report["lcd_width"], report["picture_limit"], report["quality"], report["table_valid"]),
                         (48, 7, 60, True))
        put_table(image, make_table([(1, 0x11000, 5)], end_mark=b"\x55\xAB"))
        self.assertEqual(flash_reader.report(image)["pictures"], [])

    def test_firmware_header_leads_to_the_table(self):
        for end, address in ((70196, 131072), (131072, 131072)):
            self.assertEqual(flash_reader.Information(make_image(firmware_end=end)).table_address, address)
        image = make_image(firmware_end=70196)
        image[260] = 0xDF
        self.assertEqual(flash_reader.Information(image).table_address, 0x10000)


def connected(image):
    return flash_model.Frame(image, decode=lambda stream, width, height: True).connect()


class Model(unittest.TestCase):
    def test_command_blocks(self):
        frame = connected(put_pictures(make_image(page_option=1), [b"p" * 1000]))
        self.assertEqual(frame.trace[1:4], ["CD0000000000040002000300000000" + "00 in 512 00",
                                            "CD0000000000010000400500000000" + "00 in 64 00",
                                            "CD0000000005050200000000000000" + "00 in 64 00"])
        self.assertIn("CD000000000505100000000100000000 in 64 00", frame.trace)
        self.assertIn("CD000000000004000400030110000000 in 1024 00", frame.trace)
        frame.download()
        self.assertIn("CB000000000004010000020100000002 out 65536 00", frame.trace)
        self.assertIn("CB000000000004000000D80100000000 none 0 00", frame.trace)

    def test_progress_and_sizes_of_downloads(self):
        for sizes, last_program, progress in (([50000], 65536, [0, 10, 20, 99, 100]),
                                              ([120000, 80000], 8192, [0, 10, 20, 30, 50, 70, 90, 99, 100])):
            frame = connected(make_image(flash_size=0x80000))
            frame.add([bytes([n]) * size for n, size in enumerate(sizes, 1)])
            frame.download()
            programs = [int(line.split()[2]) for line in frame.trace if " out " in line]
            self.assertEqual((frame.progress, programs[-2 if len(programs) > 2 else -1]), (progress, last_program))
            self.assertEqual(flash_reader.streams_of(frame.image), frame.pictures)

    def test_every_erase_unit_ends_with_the_same_pictures(self):
        streams = [bytes([n]) * 50000 for n in range(1, 4)]
        lengths = []
        for erase in (0x20, 0x52, 0xD8):
            image = put_pictures(make_image(flash_size=0x40000, erase=erase), streams)
            before = bytes(image[:0x10000])
            frame = connected(image)
            frame.delete([1])
            frame.add([b"\x5A" * 70000])  # does not fit behind the others: all are written anew
            frame.download()
            self.assertEqual(flash_reader.streams_of(frame.image), streams[1:] + [b"\x5A" * 70000])
            self.assertEqual(bytes(frame.image[:0x10000]), before)
            lengths.append(len(frame.trace))
        self.assertGreater(lengths[0], lengths[1])
        self.assertGreater(lengths[1], lengths[2])

    def test_deleting_changes_the_table_alone(self):
        streams = [bytes([n]) * 3000 for n in range(1, 6)]
        frame = connected(put_pictures(make_image(), streams, header=b"keep as read"))
        area = bytes(frame.image[0x11000:])
        frame.delete([5, 2])
        frame.download()
        self.assertEqual(flash_reader.streams_of(frame.image), [streams[0], streams[2], streams[3]])
        self.assertEqual(bytes(frame.image[0x11000:]), area)
        self.assertEqual(bytes(frame.image[0x10000:0x10010]), b"ABFSkeep as read")
        self.assertEqual(frame.progress, [0, 100])

    def test_odd_slots_are_dropped_and_new_pictures_go_behind_the_highest_end(self):
        image = make_image()
        image[0x12000:0x13000], image[0x18000:0x19000] = b"a" * 4096, b"b" * 4096
        put_table(image, make_table([(2, 0, 9), (1, 0x18000, 4096), None, (1, 0xFFF0, 8), (1, 0x12000, 4096),
                                     (1, 0x3FFFF, 2)]))
        frame = connected(image)
        frame.add([b"c" * 100])
        frame.download()
        self.assertEqual([flash_reader.slot(frame.table, k) for k in range(1, 5)],
                         [(1, 0x18000, 4096), (1, 0x12000, 4096), (1, 0x19000, 100), (0, 0, 0)])
        self.assertEqual(flash_reader.streams_of(frame.image), [b"b" * 4096, b"a" * 4096, b"c" * 100])


if __name__ == "__main__":
    unittest.main()
