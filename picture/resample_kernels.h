// The inner loops of resampling: weighted sums of rows and of neighbouring pixels, in 16-bit fixed point.
//
// All channels are treated alike, four per pixel, whatever they hold. The same bytes result with and without
// vectors, of any width. No state; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "picture/axis_taps.h"
#include "picture/pixel_block_reader.h"

namespace lumato::picture {

inline constexpr int kExtraBits = 6;  // a combined row keeps 6 bits below the 8 of its source

// out[i] = sum of weights[k] * source[k * stride + i] for `count` bytes, a multiple of 4, as values with
// kExtraBits. Requires: the weights sum up to about 1, so that the results fit.
void CombineRows(const std::uint8_t* source, std::size_t stride, std::span<const std::int16_t> weights,
                 std::size_t count, std::int16_t* out);

// The pixels that an axis takes from a combined row, which starts with held pixel taps.FirstHeld() and may be
// read for kTapGroup pixels beyond its end: taps.count pixels of kChannels bytes.
void CombineColumns(const std::int16_t* row, const AxisTaps& taps, std::uint8_t* out);

// Positions along a straight line through a picture.
struct PositionRun {
    std::int64_t u = 0, v = 0;  // the first one
    std::int64_t uStep = 0, vStep = 0;
};

// The filtered colours at `count` positions.
void CombineBlocks(PixelBlockReader& reader, const PositionRun& run, std::size_t count, std::uint8_t* out);

}  // namespace lumato::picture
