#include "jpeg/forward_dct.h"

#include <algorithm>

namespace lumato::jpeg {
namespace {

// Cosines in 8 fractional bits.
constexpr int k0_382683433 = 98;
constexpr int k0_541196100 = 139;
constexpr int k0_707106781 = 181;
constexpr int k1_306562965 = 334;

// Dropping the fraction without rounding is part of the stream's definition: pictures must come out the same
// on every encoder of the frame.
constexpr int Multiply(int x, int constant) {
    return x * constant >> 8;
}

// One pass over 8 values that lie `Step` apart.
template <int Step>
void Transform(const std::int32_t* in, std::int32_t* out) {
    const int tmp0 = in[0 * Step] + in[7 * Step];
    const int tmp7 = in[0 * Step] - in[7 * Step];
    const int tmp1 = in[1 * Step] + in[6 * Step];
    const int tmp6 = in[1 * Step] - in[6 * Step];
    const int tmp2 = in[2 * Step] + in[5 * Step];
    const int tmp5 = in[2 * Step] - in[5 * Step];
    const int tmp3 = in[3 * Step] + in[4 * Step];
    const int tmp4 = in[3 * Step] - in[4 * Step];

    const int even10 = tmp0 + tmp3;
    const int even13 = tmp0 - tmp3;
    const int even11 = tmp1 + tmp2;
    const int even12 = tmp1 - tmp2;
    const int z1 = Multiply(even12 + even13, k0_707106781);
    out[0 * Step] = even10 + even11;
    out[4 * Step] = even10 - even11;
    out[2 * Step] = even13 + z1;
    out[6 * Step] = even13 - z1;

    const int odd10 = tmp4 + tmp5;
    const int odd11 = tmp5 + tmp6;
    const int odd12 = tmp6 + tmp7;
    const int z5 = Multiply(odd10 - odd12, k0_382683433);
    const int z2 = Multiply(odd10, k0_541196100) + z5;
    const int z4 = Multiply(odd12, k1_306562965) + z5;
    const int z3 = Multiply(odd11, k0_707106781);
    const int z11 = tmp7 + z3;
    const int z13 = tmp7 - z3;
    out[5 * Step] = z13 + z2;
    out[3 * Step] = z13 - z2;
    out[1 * Step] = z11 + z4;
    out[7 * Step] = z11 - z4;
}

}  // namespace

void ForwardDct(const Block& samples, Block& coefficients) {
    for (unsigned row = 0; row < 64; row += 8)
        Transform<1>(&samples[row], &coefficients[row]);
    for (unsigned column = 0; column < 8; ++column)
        Transform<8>(&coefficients[column], &coefficients[column]);
}

Quantizer::Quantizer(const QuantTable& table) {
    for (unsigned k = 0; k < 64; ++k) {
        const std::uint32_t divisor = DivisorOf(table[k], aanscales[k]);
        m_half[k] = static_cast<std::int32_t>(divisor >> 1);
        m_reciprocal[k] = (std::uint64_t{1} << 32) / divisor + 1;
    }
}

// Multiplying with the reciprocal is exact here: it exceeds 2^32 / divisor by at most 1, so that the quotient
// is right for every dividend below 2^32 / divisor; divisors stay below 2^12 and the dividends below 2^19.
std::int32_t Quantizer::Quantize(std::int32_t coefficient, std::size_t k) const {
    const auto dividend =
        static_cast<std::uint32_t>((coefficient < 0 ? -coefficient : coefficient) + m_half[k]);
    const auto quotient = static_cast<std::int32_t>(
        std::min<std::uint64_t>(dividend * m_reciprocal[k] >> 32, LargestMagnitude(k)));
    return coefficient < 0 ? -quotient : quotient;
}

void Quantizer::Quantize(Block& coefficients) const {
    for (std::size_t k = 0; k < 64; ++k)
        coefficients[k] = Quantize(coefficients[k], k);
}

}  // namespace lumato::jpeg
