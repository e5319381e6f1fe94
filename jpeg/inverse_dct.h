// The inverse transform of the decoder: quantized coefficients of an 8 x 8 block into samples.
//
// Integers only. No state.
#pragma once

#include <array>
#include <cstdint>

namespace lumato::jpeg {

// Per coefficient, in natural order: quantization value * `factor` of its position.
using DequantTable = std::array<std::uint16_t, 64>;

// The fast inverse DCT of Arai, Agui and Nakajima with 6 fractional bits: writes 8 rows of 8 samples (0 to
// 255) to `output`, `stride` bytes apart. `block` is in natural order.
void idct_int(const std::array<std::int16_t, 64>& block, const DequantTable& quant, std::uint8_t* output,
              int stride);

}  // namespace lumato::jpeg
