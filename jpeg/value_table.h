// Bits to values: Huffman tables in the forms in which the fast decoder looks them up. One look finds codes
// and the values of their additional bits, as far as a few bits tell them.
//
// Constant after construction, when any number of threads may read it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "jpeg/symbol_table.h"

namespace lumato::jpeg {

// T.81 section F.2.2.1: the value that `category` additional bits stand for.
[[nodiscard]] constexpr int ExtendedValue(std::uint32_t bits, int category) {
    const int value = static_cast<int>(bits);
    const bool isPositive = category > 0 && (value >> (category - 1)) != 0;
    return isPositive ? value : value - ((1 << category) - 1);
}

// For the first coefficient of a block.
class DcTable {
  public:
    static constexpr int kLookahead = 10;  // bits

    struct Entry {
        std::int16_t value = 0;
        std::uint8_t length = 0;  // bits of the code and the additional bits; 0: look into the symbol table
    };

    explicit DcTable(const SymbolTable& symbols);

    [[nodiscard]] Entry Find(std::uint64_t window) const { return m_entries[window >> (64 - kLookahead)]; }

  private:
    std::array<Entry, 1 << kLookahead> m_entries;
};

// For the other coefficients.
class AcTable {
  public:
    static constexpr int kLookahead = 12;  // bits
    static constexpr int kPastTheBlock = 96;

    // One or two coefficients. `skip`: by how much the place in the scan grows, kPastTheBlock at the end of a
    // block. Where there is no second one it repeats the first, 0 places further on. Where the bits do not
    // tell a value `length` is 0; when they tell a code, firstLength is its length, and firstValue the number
    // of its additional bits.
    struct Entry {
        std::uint8_t length = 0;       // bits of all
        std::uint8_t firstLength = 0;  // bits of the first one
        std::uint8_t firstSkip = 0;
        std::uint8_t secondSkip = 0;
        std::int16_t firstValue = 0;
        std::int16_t secondValue = 0;
    };

    explicit AcTable(const SymbolTable& symbols);

    [[nodiscard]] const Entry& Find(std::uint64_t window) const {
        return m_entries[window >> (64 - kLookahead)];
    }

  private:
    std::array<Entry, 1 << kLookahead> m_entries;
};

// The table for `symbols`: a shared one for the standard tables, else a new one in `storage`.
[[nodiscard]] const DcTable& DcTableFor(const SymbolTable& symbols, std::unique_ptr<DcTable>& storage);
[[nodiscard]] const AcTable& AcTableFor(const SymbolTable& symbols, std::unique_ptr<AcTable>& storage);

}  // namespace lumato::jpeg
