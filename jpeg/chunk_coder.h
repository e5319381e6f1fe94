// Codes the chunks of one picture, one after another.
//
// One thread per object. Borrows everything.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "jpeg/encode_vectors.h"

namespace lumato::jpeg {

// The longest block: a DC code of 11 bits with 11 additional ones, then 63 times an AC code of 16 bits with
// 10 additional ones. A run of zeros, or their end, never costs more than the same number of values would.
inline constexpr std::size_t kLargestBlockBits = 11 + 11 + 63 * (16 + 10);

// Codes a picture's chunks in their order. The last ones take a detour, so that nothing behind the stream is
// overwritten: an MCU takes at least a byte.
class ChunkCoder {
  public:
    ChunkCoder(const std::array<const FastCoding*, 2>& codings, const McuGrid& grid, std::uint8_t* mcuTable,
               std::uint8_t* out)
        : m_codings(codings), m_grid(grid), m_mcusLeft(grid.McuCount()) {
        m_position.out = out;
        m_position.mcuEntry = mcuTable;
    }

    void Code(int mcus, const ChunkCoefficients& coefficients) {
        m_mcusLeft -= static_cast<std::size_t>(mcus);
        if (m_mcusLeft < kCodingOverrun)
            CodeAside(mcus, coefficients);
        else
            CodeChunk(m_codings, m_grid, mcus, coefficients, m_position);
    }

    [[nodiscard]] std::uint8_t* End() const { return m_position.out; }

  private:
    void CodeAside(int mcus, const ChunkCoefficients& coefficients) {
        constexpr std::size_t kMostBlocks = 3 * kChunkBlocks;
        std::array<std::uint8_t, kMostBlocks*(kLargestBlockBits / 8 + 1) + kCodingOverrun> aside;
        std::uint8_t* const out = m_position.out;
        m_position.moved = out - aside.data();
        m_position.out = aside.data();
        CodeChunk(m_codings, m_grid, mcus, coefficients, m_position);
        m_position.out = std::copy(aside.data(), m_position.out, out);
        m_position.moved = 0;
    }

    std::array<const FastCoding*, 2> m_codings;
    const McuGrid& m_grid;
    std::size_t m_mcusLeft;
    CodingPosition m_position;
};

}  // namespace lumato::jpeg
