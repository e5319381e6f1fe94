"""The tables of the frame picture codec's slow twin, written down from the standard."""
import math

# ITU-T T.81 Annex K, tables K.1 and K.2, row by row.
LUMINANCE = [16, 11, 10, 16, 24, 40, 51, 61, 12, 12, 14, 19, 26, 58, 60, 55, 14, 13, 16, 24, 40, 57, 69, 56,
             14, 17, 22, 29, 51, 87, 80, 62, 18, 22, 37, 56, 68, 109, 103, 77, 24, 35, 55, 64, 81, 104, 113, 92,
             49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99]
CHROMINANCE = [17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56, 99, 99, 99, 99, 99,
               47, 66, 99, 99, 99, 99, 99, 99] + [99] * 32


def _rows(*spans):
    return [value for first, last in spans for value in range(first, last + 1)]


# Tables K.3 to K.6: codes per length 1 to 16, then the symbols in code order.
DC_Y = ([0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0], list(range(12)))
DC_C = ([0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0], list(range(12)))
AC_Y = ([0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7D],
        list(bytes.fromhex("01020300041105122131410613516107227114328191A1082342B1C11552D1F02433627282090A"))
        + _rows((0x16, 0x1A), (0x25, 0x2A), (0x34, 0x3A), (0x43, 0x4A), (0x53, 0x5A), (0x63, 0x6A), (0x73, 0x7A),
                (0x83, 0x8A), (0x92, 0x9A), (0xA2, 0xAA), (0xB2, 0xBA), (0xC2, 0xCA), (0xD2, 0xDA), (0xE1, 0xEA),
                (0xF1, 0xFA)))
AC_C = ([0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77],
        list(bytes.fromhex("0001020311040521310612415107617113223281081442 91A1B1C109233352F0156272D10A162434E125F1"))
        + _rows((0x17, 0x1A), (0x26, 0x2A), (0x35, 0x3A), (0x43, 0x4A), (0x53, 0x5A), (0x63, 0x6A), (0x73, 0x7A),
                (0x82, 0x8A), (0x92, 0x9A), (0xA2, 0xAA), (0xB2, 0xBA), (0xC2, 0xCA), (0xD2, 0xDA), (0xE2, 0xEA),
                (0xF2, 0xFA)))

# The T.81 scan runs along the diagonals, up on even ones and down on odd ones.
ZIGZAG = [8 * r + c for r, c in sorted(((r, c) for r in range(8) for c in range(8)),
                                       key=lambda p: (p[0] + p[1], p[0] if (p[0] + p[1]) % 2 else p[1]))]

# The Arai-Agui-Nakajima transform leaves this factor on row and column k.
AAN = [1.0] + [math.sqrt(2) * math.cos(k * math.pi / 16) for k in range(1, 8)]
FORWARD_SCALE = [round(16384 * u * v) for u in AAN for v in AAN]
INVERSE_SCALE = [math.floor(64 * u * v + 1e-9) for u in AAN for v in AAN]  # s(4) is exactly 1 on paper
