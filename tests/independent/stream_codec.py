"""A slow twin of the frame picture codec, written for being read rather than for speed.

It shares no line with the program, so a misreading on either side shows as a difference. Everything is bytes
in and bytes out: encode() takes a bitmap file, decode() gives one.
"""
import functools
import struct

from stream_tables import AC_C, AC_Y, CHROMINANCE, DC_C, DC_Y, FORWARD_SCALE, INVERSE_SCALE, LUMINANCE, ZIGZAG

OMIT_TABLES, OMIT_MCU_TABLE = 4, 8
LUMA_BLOCKS = (1, 2, 2, 4)


class Refused(Exception):
    """The stream or bitmap cannot be what it claims to be."""


def scale_factor(quality):
    quality = min(max(quality & 0xFFFF, 1), 100)
    return 5000 // quality if quality <= 49 else 200 - 2 * quality


def scaled(table, factor):
    return [min(max((q * factor + 50) // 100, 1), 255) for q in table]


def mcu_grid(width, height, mode):
    """(MCU width, MCU height, MCUs across, MCUs down)."""
    wide, tall = 8 * (1 + (mode & 1)), 8 * (1 + (mode >> 1 & 1))
    return wide, tall, -(-width // wide), -(-height // tall)


def table_block(quant_y, quant_c):
    block = bytearray(b"\x00\x84")
    for number, table in enumerate((quant_y, quant_c)):
        block.append(number)
        block += bytes(table[n] for n in ZIGZAG)
    block += b"\x01\xA2"
    for kind, (counts, symbols) in ((0x00, DC_Y), (0x10, AC_Y), (0x01, DC_C), (0x11, AC_C)):
        block.append(kind)
        block += bytes(counts) + bytes(symbols)
    return bytes(block)


# ------------------------------------------------------------------------------------------ bitmap files

def make_bitmap(width, height, rows, image_size=0):
    """`rows`: top row first, each with its padding already behind it."""
    stride = (3 * width + 3) // 4 * 4
    header = struct.pack("<2sIIIIiiHHIIIIII", b"BM", 54 + height * stride, 0, 54, 40, width, height, 1, 24, 0,
                         image_size, 0, 0, 0, 0)
    return header + b"".join(bytes(row[:stride]).ljust(stride, b"\0") for row in reversed(rows))


def bitmap_rows(bitmap, width, height):
    """Rows of B, G, R bytes, top row first; rows that the file lacks are black."""
    if len(bitmap) < 54 or bitmap[:2] != b"BM" or struct.unpack_from("<ii", bitmap, 18) != (width, height):
        raise Refused("no bitmap of that size")
    bits = bitmap[28]
    stride = (width * (2 if bits == 16 else 3) + 3) // 4 * 4
    rows = []
    for y in reversed(range(height)):
        row = bitmap[54 + y * stride:54 + (y + 1) * stride].ljust(stride, b"\0")
        if bits == 16:
            pixels = struct.unpack_from("<%dH" % width, row)
            row = bytes(p >> shift << 3 & 0xF8 for p in pixels for shift in (0, 5, 10))
        rows.append(row[:3 * width])
    return rows


# ------------------------------------------------------------------------------------------ encoding

def _forward_pass(d):
    d0, d1, d2, d3, d4, d5, d6, d7 = d
    t0, t7, t1, t6 = d0 + d7, d0 - d7, d1 + d6, d1 - d6
    t2, t5, t3, t4 = d2 + d5, d2 - d5, d3 + d4, d3 - d4
    a, b, c, e = t0 + t3, t0 - t3, t1 + t2, t1 - t2
    z1 = (e + b) * 181 >> 8
    p, q, r = t4 + t5, t5 + t6, t6 + t7
    z5 = (p - r) * 98 >> 8
    z2, z4, z3 = (p * 139 >> 8) + z5, (r * 334 >> 8) + z5, q * 181 >> 8
    z11, z13 = t7 + z3, t7 - z3
    return a + c, z11 + z4, b + z1, z13 - z2, a - c, z13 + z2, b - z1, z11 - z4


def _coefficients(samples):
    rows = [_forward_pass(samples[8 * r:8 * r + 8]) for r in range(8)]
    return [c for row in zip(*map(_forward_pass, zip(*rows))) for c in row]


def _quantized(coefficients, divisors):
    sizes = [(abs(c) + (q >> 1)) // q for c, q in zip(coefficients, divisors)]
    sizes[1:] = [size if size < 1023 else 1023 for size in sizes[1:]]
    return [-size if c < 0 else size for c, size in zip(coefficients, sizes)]


def codes_of(table):
    """symbol -> its code as a string of 0 and 1, canonical as in T.81 Annex C."""
    codes, code, symbols = {}, 0, iter(table[1])
    for length, count in enumerate(table[0], 1):
        for _ in range(count):
            codes[next(symbols)] = format(code, "0%db" % length)
            code += 1
        code <<= 1
    return codes


@functools.lru_cache(4096)
def _size_and_bits(value):
    """How many bits follow the code of a value, and which."""
    size = abs(value).bit_length()
    return size, format((value if value > 0 else value - 1) & (1 << size) - 1, "0%db" % size) if size else ""


def coded_block(block, predictor, dc, ac):
    """The block's bits as a string of 0 and 1."""
    size, following = _size_and_bits(block[0] - predictor)
    bits, run = [dc[size], following], 0
    for position in ZIGZAG[1:]:
        value = block[position]
        if not value:
            run += 1
            continue
        bits += [ac[0xF0]] * (run >> 4)
        size, following = _size_and_bits(value)
        bits += ac[(run & 15) << 4 | size], following
        run = 0
    if run:
        bits.append(ac[0x00])
    return "".join(bits)


def _component_planes(rows, wide, tall, across, down):
    """Y, Cb, Cr of the picture with its edges repeated up to whole MCUs."""
    rows = [row + row[-3:] * (across * wide - len(row) // 3) for row in rows]
    rows += rows[-1:] * (down * tall - len(rows))
    y, cb, cr = [], [], []
    for row in rows:
        blue, green, red = row[0::3], row[1::3], row[2::3]
        pixels = list(zip(red, green, blue))
        y.append([(19595 * r + 38470 * g + 7471 * b + 32768 >> 16) - 128 for r, g, b in pixels])
        cb.append([(-11059 * r - 21709 * g + 32768 * b + 8421375 >> 16) - 128 for r, g, b in pixels])
        cr.append([(32768 * r + 8421375 - 27439 * g - 5329 * b >> 16) - 128 for r, g, b in pixels])
    return y, cb, cr


def _block_at(plane, x, y, step_x=1, step_y=1):
    return [sample for row in plane[y:y + 8 * step_y:step_y] for sample in row[x:x + 8 * step_x:step_x]]


@functools.lru_cache(16)
def _mcus(bitmap, width, height, sampling):
    """The coefficients of every MCU, not divided yet: those of Cb, of Cr, and those of every block of Y."""
    wide, tall, across, down = mcu_grid(width, height, sampling)
    luma, *chroma = _component_planes(bitmap_rows(bitmap, width, height), wide, tall, across, down)
    return [[*(_coefficients(_block_at(plane, x0, y0, wide // 8, tall // 8)) for plane in chroma),
             *(_coefficients(_block_at(luma, x, y)) for y in range(y0, y0 + tall, 8) for x in range(x0, x0 + wide, 8))]
            for y0 in range(0, down * tall, tall) for x0 in range(0, across * wide, wide)]


@functools.lru_cache(64)
def encode(bitmap, width, height, quality, y_value):
    mode = y_value - 1
    factor = scale_factor(quality)
    quant_y, quant_c = scaled(LUMINANCE, factor), scaled(CHROMINANCE, factor)
    divisors_y = [q * s + 1024 >> 11 for q, s in zip(quant_y, FORWARD_SCALE)]
    divisors_c = [q * s + 1024 >> 11 for q, s in zip(quant_c, FORWARD_SCALE)]
    mcus = _mcus(bitmap, width, height, mode & 3)
    dc_y, ac_y, dc_c, ac_c = map(codes_of, (DC_Y, AC_Y, DC_C, AC_C))
    tables = b"" if mode & OMIT_TABLES else table_block(quant_y, quant_c)

    entries, data = bytearray(), bytearray()
    entry_bytes = 0 if mode & OMIT_MCU_TABLE else 8 * len(mcus)
    predictors = [0, 0, 0]  # Y, Cb, Cr
    for cb, cr, *luma in mcus:
        offset = entry_bytes - len(entries) + len(tables) + len(data)
        if entry_bytes:
            entries += struct.pack("<4H", *(p & 0xFFFF for p in predictors), offset & 0xFFFF)
        bits = ""
        for component, coefficients in (1, cb), (2, cr):
            block = _quantized(coefficients, divisors_c)
            bits += coded_block(block, predictors[component], dc_c, ac_c)
            predictors[component] = block[0]
        for coefficients in luma:
            block = _quantized(coefficients, divisors_y)
            bits += coded_block(block, predictors[0], dc_y, ac_y)
            predictors[0] = block[0]
        bits += "1" * (-len(bits) % 8)
        data += int(bits, 2).to_bytes(len(bits) // 8, "big")

    selectors = bytearray([0, 1, 1] * 3)
    if mode & OMIT_TABLES:
        selectors[0:2] = factor.to_bytes(2, "big")
    header = struct.pack(">HHB9sH", width, height, mode & 0xFF, bytes(selectors), 0)
    return header + bytes(entries) + tables + bytes(data)


# ------------------------------------------------------------------------------------------ decoding

def _short(value):
    return (value + 0x8000 & 0xFFFF) - 0x8000


def _times(value, constant):
    return value * constant + 32 >> 6


def _inverse_pass(d0, d1, d2, d3, d4, d5, d6, d7):
    """Every named value is 16 bits wide, as in the frame; only damaged streams ever show it."""
    a, b, t13 = _short(d0 + d4), _short(d0 - d4), _short(d2 + d6)
    t12 = _short(_times(d2 - d6, 91) - t13)
    t0, t3, t1, t2 = _short(a + t13), _short(a - t13), _short(b + t12), _short(b - t12)
    z13, z10, z11, z12 = _short(d5 + d3), _short(d5 - d3), _short(d1 + d7), _short(d1 - d7)
    t7, t11 = _short(z11 + z13), _short(_times(z11 - z13, 91))
    z5 = _short(_times(z10 + z12, 118))
    t10, t12 = _short(_times(z12, 69) - z5), _short(z5 - _times(z10, 167))
    t6 = _short(t12 - t7)
    t5 = _short(t11 - t6)
    t4 = _short(t10 + t5)
    return t0 + t7, t1 + t6, t2 + t5, t3 - t4, t3 + t4, t2 - t5, t1 - t6, t0 - t7


@functools.lru_cache(4096)
def _samples(block, quant):
    """64 samples, row by row, from 64 coefficients in natural order."""
    columns = []
    for c in range(8):
        d = [_short(product // 64 if product >= 0 else -(-product // 64))
             for product in (value * q + 32 for value, q in zip(block[c::8], quant[c::8]))]
        columns.append([_short(w) for w in _inverse_pass(*d)] if any(d[1:]) else [d[0]] * 8)
    samples = [(x + 4 >> 3) + 128 for row in zip(*columns) for x in _inverse_pass(*row)]
    return [sample if 0 <= sample <= 255 else 255 * (sample > 0) for sample in samples]


class _Table(dict):
    """One Huffman table as the reader uses it: the next 16 bits give a symbol and its length, once worked out."""

    def __init__(self, counts, symbols):
        super().__init__()
        self.first, self.shorter, self.symbols = [], [], symbols
        code = total = 0
        for i, count in enumerate(counts):
            self.first.append(code & 0xFFFF)  # a complete code wraps to 0, and what begins at 0 is passed over
            self.shorter.append(total)
            code += count << 15 - i
            total += count
        if code > 0x10000:
            raise Refused("more codes than a Huffman tree holds")

    def __missing__(self, window):
        length = next((i for i in range(1, 16) if self.first[i] and window < self.first[i]), 16)
        index = self.shorter[length - 1] + ((window - self.first[length - 1] & 0xFFFF) >> 16 - length)
        self[window] = self.symbols[index] if index < len(self.symbols) else 0, length
        return self[window]


class _Bits:
    """The coded data; behind their end only zero bits are seen, and `position` then tells."""

    def __init__(self, data):
        self.data, self.position = data + bytes(8), 0
        self.end = 8 * len(data)

    def peek32(self):
        byte = min(self.position >> 3, len(self.data) - 5)
        return int.from_bytes(self.data[byte:byte + 5], "big") >> 8 - (self.position & 7) & 0xFFFFFFFF

    def symbol(self, table):
        window = self.peek32()
        symbol, length = table[window >> 16]
        size = symbol & 15
        self.position += length + size
        if not size:
            return symbol, 0
        value = window >> 32 - length - size & (1 << size) - 1
        return symbol, value if value >> size - 1 else value - (1 << size) + 1


def _read_block(bits, dc, ac, predictor):
    block = [0] * 64
    block[0] = _short(predictor + bits.symbol(dc)[1])
    position = 1
    while position <= 63:
        symbol, value = bits.symbol(ac)
        if symbol == 0x00:
            break
        if symbol == 0xF0:
            position += 16
            continue
        place = position + (symbol >> 4)
        position = place + 1
        block[ZIGZAG[min(place, 63)]] = value
    return block


def _read_tables(stream, at):
    """(quantization tables, Huffman tables by class byte, where the coded data begin)."""
    quant, huffman = {}, {}
    length = int.from_bytes(stream[at:at + 2], "big")
    if length not in (67, 132) or at + length + 2 > len(stream):
        raise Refused("length of the quantization tables")
    for start in range(at + 2, at + length, 65):
        if stream[start] > 1:
            raise Refused("number of a quantization table")
        quant[stream[start]] = values = [0] * 64
        for k in range(64):
            values[ZIGZAG[k]] = stream[start + 1 + k]
    at += length
    end = at + int.from_bytes(stream[at:at + 2], "big")
    if end > len(stream):
        raise Refused("length of the Huffman tables")
    at += 2
    while at < end:
        kind, counts = stream[at], stream[at + 1:at + 17]
        total = sum(counts)
        if kind not in (0, 1, 0x10, 0x11) or not 1 <= total <= (162 if kind & 0x10 else 16) or at + 17 + total > end:
            raise Refused("a Huffman table")
        huffman[kind] = _Table(counts, stream[at + 17:at + 17 + total])
        at += 17 + total
    return quant, huffman, at


def stream_size(stream):
    return struct.unpack_from(">HH", stream) if len(stream) >= 16 else (0, 0)


def decode(stream, expected=(0, 0)):
    """The bitmap file. Raises Refused for a stream that cannot be; data that end early leave black behind."""
    stream = bytes(stream)
    width, height = stream_size(stream)
    if not width or not height:
        raise Refused("no header, or an empty picture")
    if any(want and want != have for want, have in zip(expected, (width, height))):
        raise Refused("another size")
    mode, selectors = stream[4], list(stream[5:14])
    wide, tall, across, down = mcu_grid(width, height, mode)
    at = 16 + (0 if mode & OMIT_MCU_TABLE else 8 * across * down)
    if mode & OMIT_TABLES:
        factor = int.from_bytes(stream[5:7], "big")
        if factor > 5000:
            raise Refused("a quality that cannot be")
        selectors[0:2] = [0, 1]
        quant = {0: scaled(LUMINANCE, factor), 1: scaled(CHROMINANCE, factor)}
        huffman = {0: _Table(*DC_Y), 1: _Table(*DC_C), 0x10: _Table(*AC_Y), 0x11: _Table(*AC_C)}
    else:
        quant, huffman, at = _read_tables(stream, at)
    if len(stream) - at < across * down:
        raise Refused("fewer bytes than MCUs")
    try:
        tables = [(tuple(q * f for q, f in zip(quant[selectors[c]], INVERSE_SCALE)), huffman[selectors[3 + c]],
                   huffman[0x10 + selectors[6 + c]]) for c in range(3)]
    except KeyError:
        raise Refused("a table that is not there") from None

    stride = -(-width // 8) * 8
    rows = [bytearray(3 * stride) for _ in range(height)]
    bits, predictors = _Bits(stream[at:]), [0, 0, 0]

    def next_block(component):
        quant_table, dc, ac = tables[component]
        block = _read_block(bits, dc, ac, predictors[component])
        predictors[component] = block[0]
        return tuple(block), quant_table

    for y0 in range(0, down * tall, tall):
        for x0 in range(0, across * wide, wide):
            coded = [next_block(c) for c in [1, 2] + [0] * LUMA_BLOCKS[mode & 3]]
            bits.position += -bits.position % 8
            if bits.position > bits.end:
                break
            _place(rows, x0, y0, wide, tall, stride, [_samples(*block) for block in coded])
    return make_bitmap(width, height, rows, height * ((3 * width + 3) // 4 * 4))


# By a value from -384 to 639; the negative ones are found from behind.
CLAMPED = bytes(range(256)) + b"\xFF" * 384 + bytes(384)


def _place(rows, x0, y0, wide, tall, stride, blocks):
    cb, cr, luma = blocks[0], blocks[1], blocks[2:]
    for y in range(min(tall, len(rows) - y0)):
        row, chroma_row = rows[y0 + y], 8 * (y * 8 // tall)
        luma_row = [sample for block in luma[(y >> 3) * (wide >> 3):][:wide >> 3]
                    for sample in block[8 * (y & 7):][:8]]
        for x in range(min(wide, stride - x0)):
            light = 1024 * luma_row[x] + 512
            chroma = chroma_row + x * 8 // wide
            u, v = cb[chroma] - 128, cr[chroma] - 128
            at = 3 * (x0 + x)
            row[at] = CLAMPED[light + 1815 * u >> 10]
            row[at + 1] = CLAMPED[light - 352 * u - 731 * v >> 10]
            row[at + 2] = CLAMPED[light + 1436 * v >> 10]
