#include "jpeg/inverse_dct.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace lumato::jpeg {
namespace {

using Int16 = std::int16_t;

// Values between the steps have 16 bits and wrap. A sound picture never comes near that; a damaged one shows
// the same everywhere because of it. Sums may do it as late as where more than their low 16 bits count.
constexpr int Wrap(int x) {
    return static_cast<Int16>(x);
}

// Constants in 6 fractional bits.
constexpr int k1_414213562 = 91;
constexpr int k1_847759065 = 118;
constexpr int k1_082392200 = 69;
constexpr int k2_613125930 = 167;

constexpr int MultiplyRounded(int x, int constant) {
    return (x * constant + 32) >> 6;
}

// What the last step of the butterfly adds and subtracts. The last of them is subtracted first: the lowest
// value of 16 bits has no opposite.
struct Halves {
    int even0, even1, even2, even3;
    int odd0, odd1, odd2, odd3;
};

// The butterfly over 8 values that lie `Step` apart, of which those behind the first `Inputs` are 0.
template <int Inputs, std::size_t Step>
[[gnu::always_inline]] inline Halves Transform(const Int16* values) {
    const auto d = [values](std::size_t i) { return i < Inputs ? int{values[i * Step]} : 0; };
    const int even10 = d(0) + d(4);
    const int even11 = d(0) - d(4);
    const int even13 = d(2) + d(6);
    const int even12 = MultiplyRounded(d(2) - d(6), k1_414213562) - even13;

    const int z13 = Wrap(d(5) + d(3));
    const int z10 = Wrap(d(5) - d(3));
    const int z11 = Wrap(d(1) + d(7));
    const int z12 = Wrap(d(1) - d(7));
    const int tmp7 = z11 + z13;
    const int odd11 = MultiplyRounded(z11 - z13, k1_414213562);
    const int z5 = MultiplyRounded(z10 + z12, k1_847759065);
    const int odd10 = MultiplyRounded(z12, k1_082392200) - z5;
    const int odd12 = z5 - MultiplyRounded(z10, k2_613125930);
    const int tmp6 = odd12 - tmp7;
    const int tmp5 = odd11 - tmp6;
    const int tmp4 = odd10 + tmp5;
    return {even10 + even13, even11 + even12, even11 - even12, even10 - even13, tmp7, tmp6, tmp5, tmp4};
}

// What is 0 behind the first `Rows` rows is left out. The results are stored in 16 bits.
template <int Rows>
void ColumnPass(const Int16* block, std::size_t columns, Int16* workspace) {
    for (std::size_t column = 0; column < columns; ++column, ++block, ++workspace) {
        const Halves w = Transform<Rows, 8>(block);
        workspace[0 * 8] = static_cast<Int16>(w.even0 + w.odd0);
        workspace[7 * 8] = static_cast<Int16>(w.even0 - w.odd0);
        workspace[1 * 8] = static_cast<Int16>(w.even1 + w.odd1);
        workspace[6 * 8] = static_cast<Int16>(w.even1 - w.odd1);
        workspace[2 * 8] = static_cast<Int16>(w.even2 + w.odd2);
        workspace[5 * 8] = static_cast<Int16>(w.even2 - w.odd2);
        workspace[3 * 8] = static_cast<Int16>(w.even3 - w.odd3);
        workspace[4 * 8] = static_cast<Int16>(w.even3 + w.odd3);
    }
}

// The samples of a row from its whole sums; `store` gets each with its place.
template <int Columns, class Store>
[[gnu::always_inline]] inline void TransformRow(const Int16* workspace, Store store) {
    const auto sampleOf = [](int sum) { return ((sum + 4) >> 3) + 128; };
    const Halves s = Transform<Columns, 1>(workspace);
    store(0, sampleOf(Wrap(s.even0) + Wrap(s.odd0)));
    store(7, sampleOf(Wrap(s.even0) - Wrap(s.odd0)));
    store(1, sampleOf(Wrap(s.even1) + Wrap(s.odd1)));
    store(6, sampleOf(Wrap(s.even1) - Wrap(s.odd1)));
    store(2, sampleOf(Wrap(s.even2) + Wrap(s.odd2)));
    store(5, sampleOf(Wrap(s.even2) - Wrap(s.odd2)));
    store(3, sampleOf(Wrap(s.even3) - Wrap(s.odd3)));
    store(4, sampleOf(Wrap(s.even3) + Wrap(s.odd3)));
}

// A row some of whose samples have to be bounded.
template <int Columns>
[[gnu::noinline]] void StoreBounded(const Int16* workspace, std::uint8_t* output) {
    TransformRow<Columns>(workspace, [output](std::size_t i, int sample) {
        output[i] = static_cast<std::uint8_t>(std::clamp(sample, 0, 255));
    });
}

// What is 0 behind the first `Columns` columns is left out.
template <int Columns>
void RowPass(const Int16* workspace, std::size_t rows, std::uint8_t* output, std::size_t stride) {
    for (std::size_t row = 0; row < rows; ++row, workspace += 8, output += stride) {
        int all = 0;
        TransformRow<Columns>(workspace, [&](std::size_t i, int sample) {
            output[i] = static_cast<std::uint8_t>(sample);
            all |= sample;
        });
        if ((all & ~0xFF) != 0) [[unlikely]]
            StoreBounded<Columns>(workspace, output);
    }
}

// Four values of a row at once, to see which are 0.
using Four = std::uint64_t;

Four Load(const Int16* values) {
    Four four;
    std::memcpy(&four, values, sizeof four);
    return four;
}
constexpr Four kSecond = std::bit_cast<Four>(std::array<Int16, 4>{0, -1, 0, 0});
constexpr Four kThirdAndFourth = std::bit_cast<Four>(std::array<Int16, 4>{0, 0, -1, -1});

// How many rows and columns there are before all others are 0: 1, 2, 4 or 8.
struct Extent {
    std::size_t rows;
    std::size_t columns;
};

Extent ExtentOf(const Int16* block) {
    const auto left = [block](std::size_t row) { return Load(block + row * 8); };
    const auto right = [block](std::size_t row) { return Load(block + row * 8 + 4); };
    const Four left23 = left(2) | left(3);
    const Four right23 = right(2) | right(3);
    const Four left4567 = left(4) | left(5) | left(6) | left(7);
    const Four right4567 = right(4) | right(5) | right(6) | right(7);
    const Four anyLeft = left(0) | left(1) | left23 | left4567;
    const Four anyRight = right(0) | right(1) | right23 | right4567;
    return {(left4567 | right4567) != 0 ? 8U
            : (left23 | right23) != 0   ? 4U
            : (left(1) | right(1)) != 0 ? 2U
                                        : 1U,
            anyRight != 0                      ? 8U
            : (anyLeft & kThirdAndFourth) != 0 ? 4U
            : (anyLeft & kSecond) != 0         ? 2U
                                               : 1U};
}

}  // namespace

void idct_int(const Int16* block, std::uint8_t* output, std::size_t stride) {
    const Extent extent = ExtentOf(block);
    const auto rowPass = extent.columns == 8   ? RowPass<8>
                         : extent.columns == 4 ? RowPass<4>
                         : extent.columns == 2 ? RowPass<2>
                                               : RowPass<1>;
    if (extent.rows == 1) {  // then all rows are like the first
        rowPass(block, 1, output, stride);
        for (std::size_t row = 1; row < 8; ++row)
            std::memcpy(output + row * stride, output, 8);
        return;
    }
    std::array<Int16, 64> workspace;
    const auto columnPass = extent.rows == 8   ? ColumnPass<8>
                            : extent.rows == 4 ? ColumnPass<4>
                                               : ColumnPass<2>;
    columnPass(block, extent.columns, workspace.data());
    rowPass(workspace.data(), 8, output, stride);
}

}  // namespace lumato::jpeg
