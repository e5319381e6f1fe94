// The constant tables of the codec: the example tables of ITU-T T.81 Annex K, the zig-zag scan, the scales of
// the fast DCTs, and the quality rule that scales the quantization tables.
//
// Natural order means row-major: entry 8 * vertical + horizontal frequency. Read-only; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace lumato::jpeg {

using QuantTable = std::array<std::uint8_t, 64>;  // natural order

// T.81 Tables K.1 and K.2.
extern const QuantTable std_luminance_quant_tbl;
extern const QuantTable std_chrominance_quant_tbl;

// T.81 section A.3.6: position in the zig-zag scan to natural index.
// clang-format off
inline constexpr std::array<std::uint8_t, 64> jpeg_natural_order = {
     0,  1,  8, 16,  9,  2,  3, 10,
    17, 24, 32, 25, 18, 11,  4,  5,
    12, 19, 26, 33, 40, 48, 41, 34,
    27, 20, 13,  6,  7, 14, 21, 28,
    35, 42, 49, 56, 57, 50, 43, 36,
    29, 22, 15, 23, 30, 37, 44, 51,
    58, 59, 52, 45, 38, 31, 39, 46,
    53, 60, 61, 54, 47, 55, 62, 63};
// clang-format on

// 16384 * s(u) * s(v), rounded: what the forward DCT leaves in each coefficient.
extern const std::array<std::uint16_t, 64> aanscales;

// 64 * s(u) * s(v), rounded down: what the inverse DCT wants its coefficients multiplied with.
extern const std::array<std::uint8_t, 64> factor;

// A Huffman table as a DHT segment lists it.
struct HuffmanList {
    std::array<std::uint8_t, 16> bits;      // how many codes have length 1, 2, ... 16
    std::span<const std::uint8_t> huffval;  // the symbols in code order
};

// T.81 Tables K.3 to K.6.
enum class StandardTable { LuminanceDc, LuminanceAc, ChrominanceDc, ChrominanceAc };
[[nodiscard]] const HuffmanList& StandardHuffman(StandardTable which);

// The largest scale factor that a quality gives (quality 1).
inline constexpr int kLargestScaleFactor = 5000;

// Per cent by which the example quantization tables are scaled. The quality counts in its low 16 bits: 0 as
// 1, more than 100 as 100.
[[nodiscard]] std::uint16_t ScaleFactorOf(int quality);

// The table scaled to `scaleFactor` per cent, entries bounded to 1 ... 255.
[[nodiscard]] QuantTable ScaleTable(const QuantTable& table, int scaleFactor);

}  // namespace lumato::jpeg
