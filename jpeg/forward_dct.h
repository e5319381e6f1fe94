// The forward transform of the encoder: samples of an 8 x 8 block into quantized coefficients.
//
// Integers only. Everything is in natural order. No state outside the
// objects; separate ones may be used on different threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "jpeg/tables.h"

namespace lumato::jpeg {

using Block = std::array<std::int32_t, 64>;

// The fast DCT of Arai, Agui and Nakajima: 64 samples of -128 to 127 into coefficients that still carry a
// factor of 8 and the scale `aanscales` of their position. The quantization takes both away.
void ForwardDct(const Block& samples, Block& coefficients);

// What a coefficient of ForwardDct() is divided by, from its quantization value and its position's scale
// (aanscales): 1 to 3925.
[[nodiscard]] constexpr std::uint32_t DivisorOf(std::uint8_t quantValue, std::uint16_t scale) {
    // The quantization value times 8 times the scale of the position (in 14 fractional bits), rounded.
    return (std::uint32_t{quantValue} * scale + 1024) >> 11;
}

// The largest magnitude of a quantized coefficient: the first of a block is as large as it comes, but the
// codes of the others end here (ITU-T T.81, F.1.2.2.1), and at the highest qualities what the transform
// truncates can add up to one more.
[[nodiscard]] constexpr std::uint16_t LargestMagnitude(std::size_t k) {
    return k == 0 ? 0xFFFF : 1023;
}

// Divides the coefficients of ForwardDct() by their quantization values, rounding to nearest, halves away
// from 0, and bounds them.
class Quantizer {
  public:
    explicit Quantizer(const QuantTable& table);

    void Quantize(Block& coefficients) const;
    // One coefficient, at natural index `k`.
    [[nodiscard]] std::int32_t Quantize(std::int32_t coefficient, std::size_t k) const;

  private:
    std::array<std::int32_t, 64> m_half;         // half the divisor, rounded down
    std::array<std::uint64_t, 64> m_reciprocal;  // 2^32 / divisor, rounded down, plus 1
};

}  // namespace lumato::jpeg
