// The forward transform of the encoder: samples of an 8 x 8 block into quantized coefficients.
//
// Integers only. Everything is in natural order. No state outside the objects.
#pragma once

#include <array>
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

// Divides the coefficients of ForwardDct() by their quantization values, rounding to nearest, halves away
// from 0.
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
