// The decoder's inner loops without vectors. They are the reference, and what processors without vectors run.
#include <algorithm>
#include <cstring>

#include "jpeg/block_reader.h"
#include "jpeg/decode_loops.h"
#include "jpeg/inverse_dct.h"
#include "jpeg/word_access.h"

namespace lumato::jpeg {
namespace {

int Read(const StreamTables& tables, const McuGrid& grid, int wanted, DecodingPosition& position,
         ChunkCoefficients& blocks) {
    return ReadMcus<1>(tables, grid, wanted, position, blocks);
}

void Transform(const std::int16_t* coefficients, std::size_t blocks, std::uint8_t* samples) {
    for (std::size_t block = 0; block < blocks; ++block)
        idct_int(coefficients + block * 64, samples + block * 8, kChunkColumns);
}

// Colour conversion of ITU-T T.871 in 10 fractional bits, (1024 * luma + sum + 512) >> 10: what chrominance
// adds to luminance can be rounded alone, because 1024 * luma leaves no remainder.
struct ColourTables {
    // By chrominance sample. The shares of green still have their fraction.
    std::array<int, 256> bOfCb{};
    std::array<int, 256> gOfCb{};
    std::array<int, 256> gOfCr{};
    std::array<int, 256> rOfCr{};
};
constexpr ColourTables kColours = [] {
    ColourTables tables;
    for (std::size_t i = 0; i < 256; ++i) {
        const int chroma = static_cast<int>(i) - 128;
        tables.bOfCb[i] = (1815 * chroma + 512) >> 10;
        tables.gOfCb[i] = -352 * chroma + 512;
        tables.gOfCr[i] = -731 * chroma;
        tables.rOfCr[i] = (1436 * chroma + 512) >> 10;
    }
    return tables;
}();

// A luminance sample and what is added to it, bounded to a byte and in its place in a pixel: entry
// kLeast + sum.
constexpr int kLeast = 256;
using Bounded = std::array<std::uint32_t, 768>;
constexpr Bounded BoundedAt(int place) {
    Bounded bounded{};
    for (std::size_t i = 0; i < bounded.size(); ++i)
        bounded[i] = static_cast<std::uint32_t>(std::clamp(static_cast<int>(i) - kLeast, 0, 255))
                     << 8 * place;
    return bounded;
}
constexpr Bounded kBoundedB = BoundedAt(0);
constexpr Bounded kBoundedG = BoundedAt(1);
constexpr Bounded kBoundedR = BoundedAt(2);

// Where luminance 0 is in the tables.
struct ColourTerms {
    ColourTerms(std::uint8_t cb, std::uint8_t cr)
        : b(kBoundedB.data() + kLeast + kColours.bOfCb[cb]),
          g(kBoundedG.data() + kLeast + ((kColours.gOfCb[cb] + kColours.gOfCr[cr]) >> 10)),
          r(kBoundedR.data() + kLeast + kColours.rOfCr[cr]) {}

    // The pixel in the low 24 bits.
    std::uint32_t Pixel(std::uint8_t luma) const { return b[luma] | g[luma] | r[luma]; }

    const std::uint32_t* b;
    const std::uint32_t* g;
    const std::uint32_t* r;
};

// Two pixels next to each other.
void StoreTwo(std::uint32_t first, std::uint32_t second, std::uint8_t* pixels) {
    const std::uint64_t both = LittleEndian(first | std::uint64_t{second} << 24);
    std::memcpy(pixels, &both, 6);
}

// Paints the rows that share a row of chrominance.
template <bool Wide, int Rows>
void PaintRows(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr, std::size_t columns,
               std::uint8_t* pixels, std::size_t rowBytes) {
    for (std::size_t x = 0; x < columns; x += 2) {
        const ColourTerms first(*cb++, *cr++);
        const ColourTerms second = Wide ? first : ColourTerms(*cb++, *cr++);
        for (std::size_t row = 0; row < Rows; ++row) {
            const std::uint8_t* const two = luma + row * kChunkColumns + x;
            StoreTwo(first.Pixel(two[0]), second.Pixel(two[1]), pixels + row * rowBytes + x * 3);
        }
    }
}

void Paint(const ChunkSamples& samples, const McuGrid& grid, const ChunkArea& area) {
    const auto paintOne = grid.wide ? PaintRows<true, 1> : PaintRows<false, 1>;
    const auto paintTwo = grid.wide ? PaintRows<true, 2> : PaintRows<false, 2>;
    const std::size_t step = grid.tall ? 2 : 1;
    for (std::size_t row = 0; row < area.rows; row += step) {
        const auto paint = grid.tall && row + 1 < area.rows ? paintTwo : paintOne;
        const std::size_t chroma = row / step * kChunkColumns;
        paint(samples.luma + row * kChunkColumns, samples.cb + chroma, samples.cr + chroma, area.columns,
              area.pixels + row * area.rowBytes, area.rowBytes);
    }
}

}  // namespace

const DecodeLoops& PlainDecodeLoops() {
    static constexpr DecodeLoops kLoops{1, Read, Transform, Paint};
    return kLoops;
}

}  // namespace lumato::jpeg
