// The inverse transform of the decoder: quantized coefficients of an 8 x 8 block into samples.
//
// Integers only. No state.
#pragma once

#include <array>
#include <cstdint>

namespace lumato::jpeg {

// Per coefficient, in natural order: quantization value * `factor` of its position.
using DequantTable = std::array<std::uint16_t, 64>;

// A coefficient times its entry of the table, without its 6 fractional bits. The division truncates towards
// 0, unlike the shifts elsewhere; the result wraps at 16 bits.
[[nodiscard]] constexpr std::int16_t Dequantize(std::int16_t coefficient, std::uint16_t quant) {
    return static_cast<std::int16_t>((coefficient * quant + 32) / 64);
}

// The fast inverse DCT of Arai, Agui and Nakajima with 6 fractional bits: writes 8 rows of 8 samples (0 to
// 255) to `output`, `stride` bytes apart. `block` is in natural order.
void idct_int(const std::array<std::int16_t, 64>& block, const DequantTable& quant, std::uint8_t* output,
              int stride);

// The same of a block that is dequantized already.
void InverseDct(const std::array<std::int16_t, 64>& block, std::uint8_t* output, int stride);

}  // namespace lumato::jpeg
