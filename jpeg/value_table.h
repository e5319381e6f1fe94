// Bits to values: a Huffman table in the form in which the fast decoder looks it up. One look finds the code,
// its run of zeros and the value of its additional bits, as long as all of that is short.
//
// Constant after construction.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "jpeg/symbol_table.h"

namespace lumato::jpeg {

class ValueTable {
  public:
    static constexpr int kLookahead = 12;  // bits
    static constexpr int kPastTheBlock = 96;

    enum class Kind { Dc, Ac };
    ValueTable(const SymbolTable& symbols, Kind kind);

    // What the window starts with. Bits 0 to 7: how many bits it takes, 0 when these kLookahead bits do not
    // tell. Bits 8 to 15, for AC: by how much the place in the scan grows, kPastTheBlock at the end of a
    // block. Bits 16 to 31: the value.
    [[nodiscard]] std::uint32_t Find(std::uint64_t window) const {
        return m_entries[window >> (64 - kLookahead)];
    }

  private:
    std::array<std::uint32_t, 1 << kLookahead> m_entries;
};

// The table for `symbols`: a shared one for the standard tables, else a new one in `storage`.
[[nodiscard]] const ValueTable& ValueTableFor(const SymbolTable& symbols, ValueTable::Kind kind,
                                              std::unique_ptr<ValueTable>& storage);

// T.81 section F.2.2.1: the value that `category` additional bits stand for.
[[nodiscard]] constexpr int ExtendedValue(std::uint32_t bits, int category) {
    const int value = static_cast<int>(bits);
    const bool isPositive = category > 0 && (value >> (category - 1)) != 0;
    return isPositive ? value : value - ((1 << category) - 1);
}

}  // namespace lumato::jpeg
