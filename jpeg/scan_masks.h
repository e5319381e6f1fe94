// The zig-zag scan in the forms in which the vector forms of the codec look it up.
//
// Read-only; no state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "jpeg/tables.h"

namespace lumato::jpeg {

// By row of a block and the bits of its 8 coefficients: the same bits at their places in the scan.
using RowScanBits = std::array<std::array<std::uint64_t, 256>, 8>;
extern const RowScanBits kRowScanBits;

// The mask in scan order of a block whose rows' masks lie `Stride` bytes apart.
template <std::size_t Stride>
inline std::uint64_t ScanMask(const std::uint8_t* rows) {
    std::uint64_t mask = 0;
    for (std::size_t row = 0; row < 8; ++row)
        mask |= kRowScanBits[row][rows[row * Stride]];
    return mask;
}

// Where places of the scan beyond the block lead the decoder: a run that passes the last coefficient ends at
// it, and what stands for no coefficient goes to a place behind the rows of the group (chunk.h).
inline constexpr std::size_t kLongestRun = 16;
inline constexpr std::size_t kNowhere = 96;  // from this place on

// Place in the scan to offset from the block's start in a group of `Group` blocks (chunk.h).
template <std::size_t Group>
inline constexpr std::array<std::uint16_t, 64> ScanOffsets = [] {
    constexpr std::uint8_t kNatural[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                           12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                           35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                           58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
    std::array<std::uint16_t, 64> offsets{};
    for (std::size_t k = 0; k < 64; ++k)
        offsets[k] = static_cast<std::uint16_t>(kNatural[k] / 8 * (8 * Group) + kNatural[k] % 8);
    return offsets;
}();

}  // namespace lumato::jpeg
