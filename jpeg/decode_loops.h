// The decoder's inner loops, which work on the chunks of a picture: one set of them per form (codec_form.h).
//
// No state; callable from any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "jpeg/bit_reader.h"
#include "jpeg/chunk.h"
#include "jpeg/decode_tables.h"

namespace lumato::jpeg {

// Where decoding stands between two chunks.
struct DecodingPosition {
    BitReader bits;
    std::array<std::int16_t, 3> predictors{};
};

// The part of a picture that a chunk covers, without what lies beyond the picture's stride or height.
struct ChunkArea {
    std::uint8_t* pixels;
    std::size_t rowBytes;
    std::size_t columns;
    std::size_t rows;
};

struct DecodeLoops {
    std::size_t group;  // blocks per group (chunk.h)

    // Reads up to `wanted` MCUs of a chunk, dequantized, into blocks that are all 0; returns how many the
    // data hold. `tables` are for groups of this size.
    int (*read)(const StreamTables& tables, const McuGrid& grid, int wanted, DecodingPosition& position,
                ChunkCoefficients& blocks);

    // Transforms a row of `blocks` blocks into samples, kChunkColumns bytes per row. The last group is
    // transformed as a whole.
    void (*transform)(const std::int16_t* coefficients, std::size_t blocks, std::uint8_t* samples);

    // Converts the colours of a chunk. A chrominance sample counts for its whole group of pixels.
    void (*paint)(const ChunkSamples& samples, const McuGrid& grid, const ChunkArea& area);
};

// Those of the form that is in use.
[[nodiscard]] const DecodeLoops& ChosenDecodeLoops();

// Those without vectors: decode_plainly.cpp.
[[nodiscard]] const DecodeLoops& PlainDecodeLoops();

}  // namespace lumato::jpeg
