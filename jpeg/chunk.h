// A chunk: the piece of an MCU row that the vector forms of the codec work on at a time, so that everything
// between two steps stays in the fastest memory.
//
// Blocks lie in groups of as many as a vector of 16-bit lanes holds rows of: the first rows of all blocks of
// the group, then all second rows, and so on. `Group` says how many.
//
// Values; any thread.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "jpeg/mcu_grid.h"

namespace lumato::jpeg {

inline constexpr std::size_t kChunkColumns = 128;               // pixels
inline constexpr std::size_t kChunkBlocks = kChunkColumns / 8;  // per component and row of blocks

// The coefficients of a chunk's blocks in natural order. In wide MCUs only the first half of cb and cr
// counts, in flat MCUs only luma[0].
struct ChunkCoefficients {
    static constexpr std::size_t kRowOfBlocks = kChunkBlocks * 64;

    alignas(64) std::int16_t cb[kRowOfBlocks];
    alignas(64) std::int16_t cr[kRowOfBlocks];
    alignas(64) std::int16_t luma[2][kRowOfBlocks];
};

// The samples of a chunk, row-major.
struct ChunkSamples {
    alignas(64) std::uint8_t cb[8 * kChunkColumns];
    alignas(64) std::uint8_t cr[8 * kChunkColumns];
    alignas(64) std::uint8_t luma[16 * kChunkColumns];
};

[[nodiscard]] constexpr int McusPerChunk(const McuGrid& grid) {
    return static_cast<int>(kChunkColumns) / grid.mcuWidth;
}
[[nodiscard]] constexpr int ChunksAcross(const McuGrid& grid) {
    return (grid.mcusAcross + McusPerChunk(grid) - 1) / McusPerChunk(grid);
}

// How many MCUs the chunk has; `chunk` counts from the left.
[[nodiscard]] constexpr int McusIn(const McuGrid& grid, int chunk) {
    const int left = grid.mcusAcross - chunk * McusPerChunk(grid);
    return left < McusPerChunk(grid) ? left : McusPerChunk(grid);
}

// Where block `index` of a row of blocks begins. Its row r is `r * 8 * group` further on. `group`: a power
// of 2.
[[nodiscard]] constexpr std::size_t BlockStart(std::size_t index, std::size_t group) {
    return (index >> std::countr_zero(group)) * (64 * group) + (index & (group - 1)) * 8;
}

}  // namespace lumato::jpeg
