#include "jpeg/inverse_dct.h"

#include <algorithm>
#include <cstddef>

namespace lumato::jpeg {
namespace {

using Int16 = std::int16_t;

// Values between the steps have 16 bits and wrap. A sound picture never comes near that; a damaged one shows
// the same everywhere because of it.
constexpr Int16 Wrap(int x) {
    return static_cast<Int16>(x);
}

// Constants in 6 fractional bits.
constexpr int k1_414213562 = 91;
constexpr int k1_847759065 = 118;
constexpr int k1_082392200 = 69;
constexpr int k2_613125930 = 167;

constexpr int Multiply(int x, int constant) {
    return (x * constant + 32) >> 6;
}

// The butterfly over 8 values. The results keep their full width; the column pass stores them in 16 bits.
std::array<int, 8> Transform(const std::array<Int16, 8>& d) {
    const Int16 even10 = Wrap(d[0] + d[4]);
    const Int16 even11 = Wrap(d[0] - d[4]);
    const Int16 even13 = Wrap(d[2] + d[6]);
    const Int16 even12 = Wrap(Multiply(d[2] - d[6], k1_414213562) - even13);
    const Int16 tmp0 = Wrap(even10 + even13);
    const Int16 tmp3 = Wrap(even10 - even13);
    const Int16 tmp1 = Wrap(even11 + even12);
    const Int16 tmp2 = Wrap(even11 - even12);

    const Int16 z13 = Wrap(d[5] + d[3]);
    const Int16 z10 = Wrap(d[5] - d[3]);
    const Int16 z11 = Wrap(d[1] + d[7]);
    const Int16 z12 = Wrap(d[1] - d[7]);
    const Int16 tmp7 = Wrap(z11 + z13);
    const Int16 odd11 = Wrap(Multiply(z11 - z13, k1_414213562));
    const Int16 z5 = Wrap(Multiply(z10 + z12, k1_847759065));
    const Int16 odd10 = Wrap(Multiply(z12, k1_082392200) - z5);
    const Int16 odd12 = Wrap(z5 - Multiply(z10, k2_613125930));
    const Int16 tmp6 = Wrap(odd12 - tmp7);
    const Int16 tmp5 = Wrap(odd11 - tmp6);
    const Int16 tmp4 = Wrap(odd10 + tmp5);

    return {tmp0 + tmp7, tmp1 + tmp6, tmp2 + tmp5, tmp3 - tmp4,
            tmp3 + tmp4, tmp2 - tmp5, tmp1 - tmp6, tmp0 - tmp7};
}

bool OnlyFirstRow(const std::array<Int16, 64>& block, std::size_t column) {
    int any = 0;
    for (std::size_t row = 1; row < 8; ++row)
        any |= block[row * 8 + column];
    return any == 0;
}

void ColumnPass(const std::array<Int16, 64>& block, std::array<Int16, 64>& workspace) {
    for (std::size_t column = 0; column < 8; ++column) {
        if (OnlyFirstRow(block, column)) {
            for (std::size_t row = 0; row < 8; ++row)
                workspace[row * 8 + column] = block[column];
            continue;
        }
        std::array<Int16, 8> d;
        for (std::size_t row = 0; row < 8; ++row)
            d[row] = block[row * 8 + column];
        const std::array<int, 8> w = Transform(d);
        for (std::size_t row = 0; row < 8; ++row)
            workspace[row * 8 + column] = Wrap(w[row]);
    }
}

}  // namespace

void InverseDct(const std::array<std::int16_t, 64>& block, std::uint8_t* output, int stride) {
    std::array<Int16, 64> workspace;
    ColumnPass(block, workspace);
    for (std::size_t row = 0; row < 8; ++row, output += stride) {
        std::array<Int16, 8> d;
        std::copy_n(&workspace[row * 8], 8, d.begin());
        const std::array<int, 8> samples = Transform(d);
        for (std::size_t column = 0; column < 8; ++column)
            output[column] =
                static_cast<std::uint8_t>(std::clamp(((samples[column] + 4) >> 3) + 128, 0, 255));
    }
}

void idct_int(const std::array<std::int16_t, 64>& block, const DequantTable& quant, std::uint8_t* output,
              int stride) {
    std::array<Int16, 64> dequantized;
    for (std::size_t k = 0; k < 64; ++k)
        dequantized[k] = Dequantize(block[k], quant[k]);
    InverseDct(dequantized, output, stride);
}

}  // namespace lumato::jpeg
