// The inverse transform of the decoder: coefficients of an 8 x 8 block into samples.
//
// Integers only. No state; callable from any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace lumato::jpeg {

// Per coefficient, in natural order: quantization value * `factor` of its position.
using DequantTable = std::array<std::uint16_t, 64>;

// A coefficient times its entry of the table, without its 6 fractional bits. The division truncates towards
// 0, unlike the shifts elsewhere; the result wraps at 16 bits.
[[nodiscard]] constexpr std::int16_t Dequantize(std::int16_t coefficient, std::uint16_t quant) {
    return static_cast<std::int16_t>((coefficient * quant + 32) / 64);
}

// The fast inverse DCT of Arai, Agui and Nakajima with 6 fractional bits: 64 dequantized coefficients in
// natural order into 8 rows of 8 samples (0 to 255), `stride` bytes apart.
void idct_int(const std::int16_t* block, std::uint8_t* output, std::size_t stride);

}  // namespace lumato::jpeg
