// The inner loops of resampling: weighted sums of rows and of neighbouring pixels, in 16-bit fixed point.
//
// All channels are treated alike, four per pixel, whatever they hold. The same bytes result with and without
// vector instructions. No state; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace lumato::picture {

inline constexpr int kWeightBits = 14;  // a weight of 1.0 is 1 << 14
inline constexpr int kExtraBits = 6;    // a combined row keeps 6 bits below the 8 of its source
inline constexpr int kChannels = 4;

// out[i] = sum of weights[k] * source[k * stride + i] for `count` bytes, a multiple of 4, as values with
// kExtraBits. Requires: the weights sum up to about 1, so that the results fit.
void CombineRows(const std::uint8_t* source, std::size_t stride, std::span<const std::int16_t> weights,
                 std::size_t count, std::int16_t* out);

// The weighted sum of neighbouring pixels of a combined row, scaled by 1 << (kWeightBits + kExtraBits).
// Requires: an even number of weights; the row may be read as far as they reach.
void CombinePixels(const std::int16_t* row, std::span<const std::int16_t> weights,
                   std::int32_t sum[kChannels]);

// The weighted sum of a block of 8-bit pixels, `stride` bytes from row to row, scaled by 1 << kWeightBits.
// Requires: an even number of weights across; the rows may be read as far as they reach.
void CombineBlock(const std::uint8_t* block, std::size_t stride, std::span<const std::int16_t> across,
                  std::span<const std::int16_t> down, float sum[kChannels]);

// sum / 2^bits, rounded, within 0..255.
inline std::uint8_t RoundToByte(std::int32_t sum, int bits) {
    const std::int32_t value = (sum + (1 << (bits - 1))) >> bits;
    return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

}  // namespace lumato::picture
