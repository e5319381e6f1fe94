// Symbols to sizes: how many bits coding takes, and how few it could take at any higher quality.
//
// Constant after construction.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>

#include "jpeg/huffman_code.h"

namespace lumato::jpeg {

// Two sums of bits in one number, for sums below 2^16: the low half counts what is there. The high half
// counts the least that the same coefficients and any larger ones in their places could take.
//
// A higher quality divides by less, so no coefficient's magnitude shrinks. It does not follow that no block
// does: where a value appears in a run of zeros, two short codes may take less than the long one did.
struct SizeBits {
    std::uint32_t sums = 0;

    [[nodiscard]] static constexpr SizeBits Of(int exact, int least) {
        return {static_cast<std::uint32_t>(exact) | static_cast<std::uint32_t>(least) << 16};
    }
    [[nodiscard]] constexpr std::uint32_t Exact() const { return sums & 0xFFFF; }
    [[nodiscard]] constexpr std::uint32_t Least() const { return sums >> 16; }
    constexpr SizeBits& operator+=(SizeBits other) {
        sums += other.sums;
        return *this;
    }
};

class SizeCodes {
  public:
    SizeCodes(const tag_HUFFMAN_TABLE& dc, const tag_HUFFMAN_TABLE& ac);

    // The first coefficient of a block, by its difference to the last block's: exactly. Nothing bounds it at
    // other qualities but quantizing both coefficients again.
    [[nodiscard]] std::uint32_t First(int difference) const {
        return m_first[static_cast<std::size_t>(difference + kLargestDifference)];
    }
    // The same by the low and by the high 4 bits of a difference below 256: the larger one counts, because a
    // larger difference never takes fewer bits.
    [[nodiscard]] const std::uint8_t* FirstByLowBits() const { return m_firstByLowBits.data(); }
    [[nodiscard]] const std::uint8_t* FirstByHighBits() const { return m_firstByHighBits.data(); }
    // Another coefficient, behind `run` zeros (0 to 62).
    [[nodiscard]] SizeBits Value(unsigned run, int value) const {
        return ValueOfCategory(run, CategoryOf(std::abs(value)));
    }
    [[nodiscard]] SizeBits ValueOfCategory(unsigned run, unsigned category) const {
        return m_values[run * kCategories + category];
    }
    // The same in bytes, exact and least, by run (0 to 15) and category (0 to 7): 16 * category + run.
    [[nodiscard]] const std::array<std::uint8_t, 128>& ExactBytes() const { return m_exactBytes; }
    [[nodiscard]] const std::array<std::uint8_t, 128>& LeastBytes() const { return m_leastBytes; }
    // The zeros (0 to 63) behind the last coefficient.
    [[nodiscard]] SizeBits Tail(unsigned zeros) const { return m_tails[zeros]; }

  private:
    static constexpr std::size_t kCategories = 16;
    static constexpr std::size_t kPlaces = 64;
    static constexpr int kLargestDifference = 2047;  // of 8-bit samples (ITU-T T.81, F.1.2.1.1)

    static unsigned CategoryOf(int magnitude) {
        return static_cast<unsigned>(std::bit_width(static_cast<unsigned>(magnitude)));
    }
    void FillValues(const tag_HUFFMAN_TABLE& ac);
    void FillTails(const tag_HUFFMAN_TABLE& ac);

    std::array<std::uint8_t, 2 * kLargestDifference + 1> m_first;
    alignas(16) std::array<std::uint8_t, 16> m_firstByLowBits;
    alignas(16) std::array<std::uint8_t, 16> m_firstByHighBits;
    std::array<SizeBits, kPlaces * kCategories> m_values;
    std::array<SizeBits, kPlaces> m_tails;
    alignas(64) std::array<std::uint8_t, 128> m_exactBytes{};
    alignas(64) std::array<std::uint8_t, 128> m_leastBytes{};
};

// Those of the standard tables: luminance, chrominance.
[[nodiscard]] const std::array<SizeCodes, 2>& StandardSizes();

}  // namespace lumato::jpeg
