// The encoder's inner loops in vectors, behind the choice of the form that the processor can run.
//
// No state; callable from any thread. The plain twins are in encoder.cpp, mcu_samples.cpp and
// forward_dct.cpp.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/chunk.h"
#include "jpeg/forward_dct.h"
#include "jpeg/value_codes.h"

namespace lumato::jpeg {

// A picture as the encoder takes it (encoder.h).
struct SourcePicture {
    const std::uint8_t* pixels;
    int width;
    int height;
};

// Transforms the MCUs of one chunk: `chunk` counts from the left, `mcuY` from the top.
void TransformChunk(const SourcePicture& source, const McuGrid& grid, int chunk, int mcuY,
                    ChunkCoefficients& coefficients);

// Division by multiplication in 16 bits, for dividends below 2^14 and divisors from 1 to 4096:
// ((4 * dividend + half4) * reciprocal >> 16) * shift >> 16.
struct WordQuantizer {
    explicit WordQuantizer(const QuantTable& table);

    alignas(16) std::uint16_t half4[64];       // 4 times half the divisor, rounded down
    alignas(16) std::uint16_t reciprocal[64];  // 2^(14 + s) / divisor, rounded down, plus 1 (s: see shift)
    alignas(16) std::uint16_t shift[64];    // 2^(16 - s), where 2^(s - 1) is the divisor or the next above it
    alignas(16) std::uint16_t largest[64];  // magnitude
};

// What the blocks of one kind have in common.
struct FastCoding {
    WordQuantizer quantizer;
    const ValueCodes* dc;
    const ValueCodes* ac;
};

// Where coding stands between two chunks.
struct CodingPosition {
    std::array<int, 3> predictors{};
    std::uint8_t* out = nullptr;
    std::ptrdiff_t moved = 0;          // how much further on the coded data will stand than `out` says
    std::uint8_t* mcuEntry = nullptr;  // where the next entry of the MCU table goes; null without one
};

// Quantizes the first `mcus` MCUs of a chunk and codes them. Up to kCodingOverrun bytes behind the
// coded data are overwritten. `codings`: luminance, chrominance.
inline constexpr std::size_t kCodingOverrun = 8;
void CodeChunk(const std::array<const FastCoding*, 2>& codings, const McuGrid& grid, int mcus,
               const ChunkCoefficients& coefficients, CodingPosition& position);

// The quantization alone, of `blocks` blocks, for tests; sets bit k of a block's mask where its coefficient k
// (natural order) is not 0.
void QuantizeBlocks(const WordQuantizer& quantizer, std::size_t blocks, std::int16_t* coefficients,
                    std::uint64_t* masks);

// Blocks per group in the form that is in use.
[[nodiscard]] std::size_t BlocksPerGroup();

}  // namespace lumato::jpeg
