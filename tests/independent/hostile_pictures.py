"""Pictures that are larger than they look, or no pictures: what strangers may send."""
import functools
import os
import random
import struct
import zlib

SAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../data/pictures/hostile")
# Whether they are served.
HOSTILE = {"small.jxl": True, "small.avif": True, "small.heic": True, "small.webp": True,
           "large.jxl": False, "large.avif": False, "large.webp": False}


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


@functools.lru_cache()
def zeros(size):
    """A zlib stream of that many zero bytes: one that ends at a byte, again and again, and a last one."""
    def deflated(length, ending):
        packer = zlib.compressobj(1, zlib.DEFLATED, -15)
        return packer.compress(bytes(length)) + packer.flush(ending)
    count, rest = divmod(size, 1 << 20)
    return (b"\x78\x01" + deflated(1 << 20, zlib.Z_FULL_FLUSH) * count + deflated(rest, zlib.Z_FINISH)
            + struct.pack(">HH", size % 65521, 1))


def png(width, height, data, depth=8, colour=2, extra=b""):
    header = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + extra + chunk(b"IDAT", data) + chunk(b"IEND", b""))


def small_png(extra=b""):
    rows = b"".join(b"\0" + bytes((x * 9, y * 9, 80)[c] for x in range(24) for c in range(3)) for y in range(16))
    return png(24, 16, zlib.compress(rows), extra=extra)


def tiff(width, height, strip, *more, packed=False):
    """One strip of grey, or the first of its tiles, whatever the size claims."""
    where, size = (324, 325) if more else (273, 279)
    entries = sorted([(256, 4, 1, width), (257, 4, 1, height), (258, 3, 1, 8), (259, 3, 1, 8 if packed else 1), (262, 3, 1, 1),
                      (where, 4, 1, 0), (277, 3, 1, 1), (278, 4, 1, height), (size, 4, 1, len(strip)), *more])
    data = 8 + 2 + 12 * len(entries) + 4
    entries = [(tag, kind, count, data if tag == where else value) for tag, kind, count, value in entries]
    return (b"II*\0" + struct.pack("<IH", 8, len(entries)) + b"".join(struct.pack("<HHII", *e) for e in entries)
            + struct.pack("<I", 0) + strip)


def interlaced(side, data):
    plain = struct.pack(">IIBBBBB", side, side, 8, 2, 0, 0, 0)
    whole = plain[:-1] + b"\1"
    return png(side, side, data).replace(plain + struct.pack(">I", zlib.crc32(b"IHDR" + plain)),
                                         whole + struct.pack(">I", zlib.crc32(b"IHDR" + whole)))


def sample(name):
    with open(os.path.join(SAMPLES, name), "rb") as file:
        return file.read()


def gif(width, height, frames):
    one = (b"\x21\xF9\x04\0\1\0\0\0" + b"," + struct.pack("<HHHHB", 0, 0, 1, 1, 0) + b"\x02\x02\x44\x01\0")
    return (b"GIF89a" + struct.pack("<HHBBB", width, height, 0x80, 0, 0) + b"\0\0\0\xFF\xFF\xFF"
            + b"\x21\xFF\x0BNETSCAPE2.0\x03\1\0\0\0" + one * frames + b";")


def bmp(width, height, bits=24, coding=0, body=b"", offset=54):
    return (b"BM" + struct.pack("<IHHI", 54 + len(body), 0, 0, offset)
            + struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, coding, 0, 0, 0, 0, 0) + body)


def jpeg_segment(marker, data):
    return struct.pack(">BBH", 0xFF, marker, len(data) + 2) + data


def progressive_jpeg(width, height, scans):
    """Grey, with one DC scan and then scans of a few bytes that say "nothing here" for 16,384 blocks at a time."""
    codes = bytes([1] + [0] * 15)
    data = (b"\xFF\xD8" + jpeg_segment(0xDB, b"\0" + bytes([1] * 64))
            + jpeg_segment(0xC2, struct.pack(">BHHB", 8, height, width, 1) + b"\1\x11\0")
            + jpeg_segment(0xC4, b"\0" + codes + b"\0") + jpeg_segment(0xC4, b"\x10" + codes + b"\xE0"))
    blocks = (width + 7) // 8 * ((height + 7) // 8)
    data += jpeg_segment(0xDA, b"\1\1\0" + bytes([0, 0, 0])) + bytes(blocks // 8 + 1)
    scan = jpeg_segment(0xDA, b"\1\1\0" + bytes([1, 63, 0])) + bytes((blocks // 16384 + 1) * 15 // 8 + 1)
    return data + scan * scans + b"\xFF\xD9"


def profile(data):
    return chunk(b"iCCP", b"made up\0\0" + data)


def bombs(sparse=False):
    """(name, bytes, served): whether it must be served, must be refused, or either will do (None). `sparse`: only what
    the program's own memory may be harmed by, of a size that costs little, for it is the same code for every row and scan."""
    if sparse:
        yield "run lengths.bmp", lambda: bmp(16000, 500, 8, 1, b"\0\1", 54), None
        yield from (bomb for bomb in bombs() if bomb[0].endswith((".jpg", ".bmp"))
                    and bomb[0] not in ("run lengths.bmp", "large scans.jpg"))
        return
    yield "60000 x 60000.png", lambda: png(60000, 60000, zeros(60001 * 3000)), False
    yield "60000 x 60000 grey of 1 bit.png", lambda: png(60000, 60000, zeros(7501 * 60000), 1, 0), None
    yield "wide.png", lambda: png(0x7FFFFFFF, 1, zeros(100)), False
    yield "wide rows.png", lambda: png(900000, 200, zeros(2700001 * 200)), False
    yield "interlaced.png", lambda: interlaced(20000, zeros(1 << 24)), False
    yield "text.png", lambda: small_png(chunk(b"zTXt", b"comment\0\0" + zeros(1 << 30))), None
    yield "huge profile.png", lambda: small_png(profile(zeros(1 << 29))), None
    yield "random profile.png", lambda: small_png(profile(zlib.compress(random.Random(1).randbytes(4000)))), None
    yield "broken profile.png", lambda: small_png(profile(b"\xFF" * 40)), None
    yield "empty profile.png", lambda: small_png(profile(zlib.compress(b""))), None
    for name, side in ("10 GB", 100000), ("4 billion", 0xFFFFFFFF):
        yield name + ".tif", functools.partial(tiff, side, side, bytes(1000)), False
    yield "large strip.tif", lambda: tiff(16, 16, bytes(256))[:-4], None
    yield "one strip.tif", lambda: tiff(8000, 8000, zeros(8000 * 8000), packed=True), None
    yield "one large strip.tif", lambda: tiff(30000, 30000, zeros(30000 * 30000), packed=True), None
    for side, served in (4096, True), (8000, None):
        make = functools.partial(tiff, side, side, zeros(side**2), (322, 4, 1, side), (323, 4, 1, side), packed=True)
        yield "one tile of %d.tif" % side, make, served
    yield "large tiles.tif", lambda: tiff(60000, 60000, zeros(1 << 24), (322, 4, 1, 4096), (323, 4, 1, 4096), packed=True), None
    # Nothing but black, and as large as the smallest file may be; and beyond that.
    yield from ((name, functools.partial(sample, name), served) for name, served in HOSTILE.items())
    yield "large interlaced.png", lambda: interlaced(7000, zeros(7000 * 21004)), None
    yield "large.gif", lambda: gif(6000, 6000, 20), None
    yield "16000 x 16000.png", lambda: png(16000, 16000, zeros(48001 * 16000)), None
    yield "endless.gif", lambda: gif(200, 200, 100000), None
    yield "large endless.gif", lambda: gif(65535, 65535, 20), None
    yield "large.bmp", lambda: bmp(30000, 30000, body=bytes(3000)), False
    yield "largest.bmp", lambda: bmp(0x7FFFFFFF, 0x7FFFFFFF), False
    yield "lowest.bmp", lambda: bmp(10, -0x80000000, body=bytes(400)), False
    yield "run lengths.bmp", lambda: bmp(16000, 16000, 8, 1, b"\0\1", 54), None
    yield "scans.jpg", lambda: progressive_jpeg(2000, 2000, 20000), None
    yield "large scans.jpg", lambda: progressive_jpeg(8000, 8000, 10000), None
    yield "largest.jpg", lambda: progressive_jpeg(65500, 15200, 40), None
