// The vectors of bytes by which a block's coefficients are rearranged and looked up while they are counted.
//
// Read-only; no state.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "jpeg/tables.h"

namespace lumato::jpeg {

struct CountTables {
    alignas(64) std::array<std::uint8_t, 64> scan{};         // by place in the scan: the place in the block
    alignas(64) std::array<std::uint8_t, 64> places{};       // 0, 1, 2, ...
    alignas(64) std::array<std::uint8_t, 64> before{};       // 0, 0, 1, ...
    alignas(64) std::array<std::uint8_t, 128> categories{};  // by magnitude

    constexpr CountTables() {
        for (std::size_t i = 0; i < 64; ++i) {
            scan[i] = static_cast<std::uint8_t>(jpeg_natural_order[i]);
            places[i] = static_cast<std::uint8_t>(i);
            before[i] = static_cast<std::uint8_t>(i == 0 ? 0 : i - 1);
        }
        for (unsigned magnitude = 0; magnitude < categories.size(); ++magnitude)
            categories[magnitude] = static_cast<std::uint8_t>(std::bit_width(magnitude));
    }
};
inline constexpr CountTables kCountTables;

}  // namespace lumato::jpeg
