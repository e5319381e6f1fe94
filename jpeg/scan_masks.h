// The zig-zag scan in the forms in which the vector forms of the codec look it up.
//
// Read-only; any thread.
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

// Place in the scan to offset from the block's start in a group of `Group` blocks (chunk.h). A run that
// passes the last coefficient ends at it: places behind the block are the last one's, too.
template <std::size_t Group>
inline constexpr std::array<std::uint8_t, 64> ScanOffsets = [] {
    std::array<std::uint8_t, 64> offsets{};
    for (std::size_t k = 0; k < offsets.size(); ++k) {
        const std::size_t natural = jpeg_natural_order[k];
        offsets[k] = static_cast<std::uint8_t>(natural / 8 * (8 * Group) + natural % 8);
    }
    return offsets;
}();

}  // namespace lumato::jpeg
