// Bits to coefficients: a photograph's AC Huffman table in the form in which its scan is looked up. One look
// tells the codes of up to two coefficients, and whether the block ends behind them; their values are taken
// from the bits, for photographs have many that no short look would tell.
//
// Constant after construction; any thread then.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/symbol_table.h"

namespace lumato::picture {

class CoefficientTable {
  public:
    static constexpr int kLookahead = 10;  // bits
    // What the end of a block adds to the place in the scan.
    static constexpr unsigned kPastTheBlock = 96;

    // `skip`: by how much the place in the scan grows. `start` and `bits`: where the additional bits lie
    // behind the first bit looked at, and how many they are. Where there is no second coefficient it repeats
    // the first, 0 places further on.
    struct Entry {
        std::uint8_t length = 0;  // bits of all that it tells; 0: the first code is longer than the look
        std::uint8_t firstStart = 0;
        std::uint8_t firstBits = 0;
        std::uint8_t firstSkip = 0;
        std::uint8_t secondStart = 0;
        std::uint8_t secondBits = 0;
        std::uint8_t secondSkip = 0;
        std::uint8_t endSkip = 0;
    };
    // At most so many bits are used up by one look: a code and the most additional bits.
    static constexpr int kMostBits = kLookahead + 15;

    explicit CoefficientTable(const jpeg::SymbolTable& symbols);

    [[nodiscard]] const Entry& Find(std::uint64_t window) const {
        return m_entries[window >> (64 - kLookahead)];
    }

  private:
    std::array<Entry, 1 << kLookahead> m_entries;
};

}  // namespace lumato::picture
