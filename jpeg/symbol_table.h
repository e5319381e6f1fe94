// Codes to symbols: a Huffman table in the form in which the decoder looks it up.
//
// Constant after it was defined, when any number of threads may read it; borrowed by the decoding loops.
#pragma once

#include <array>
#include <cstdint>

#include "base/bytes.h"

namespace lumato::jpeg {

class SymbolTable {
  public:
    struct Match {
        int length = 0;  // bits of the code
        int symbol = 0;
    };

    // Takes over the 16 code counts and their symbols. False, when more codes are asked for than their
    // lengths allow. Requires: as many values as the counts add up to, at most 255.
    bool Define(ByteSpan bits, ByteSpan values);

    [[nodiscard]] bool operator==(const SymbolTable& other) const = default;

    // True when the 16 bits of `window` start with a code that names a symbol.
    [[nodiscard]] bool Names(std::uint32_t window) const { return window < m_codeEnd; }

    [[nodiscard]] bool IsDefined() const { return m_symbolCount > 0; }

    // The symbol whose code the 16 bits of `window` start with. A code that names no symbol counts as symbol
    // 0 and as 16 bits long.
    [[nodiscard]] Match Find(std::uint32_t window) const {
        const std::uint16_t entry = m_lookahead[window >> (16 - kLookahead)];
        if (entry != 0)
            return {entry >> 8, entry & 0xFF};
        return Search(window);
    }

    // The same as Find() without looking ahead: by comparing with the first code of each length.
    [[nodiscard]] Match Search(std::uint32_t window) const;

  private:
    static constexpr int kLookahead = 9;

    void FillLookahead();

    std::array<std::uint8_t, 256> m_symbols{};
    int m_symbolCount = 0;
    std::uint32_t m_codeEnd = 0;  // no code, left-aligned in 16 bits, is as large
    // By code length - 1: the first code of that length, left-aligned in 16 bits, and the codes shorter than
    // it. After a complete code the sum wraps to 0, and that length can no longer be found.
    std::array<std::uint16_t, 16> MINCODE{};
    std::array<std::uint8_t, 16> VALPTR{};
    // By the first bits of the window: length * 256 + symbol of a code that is no longer than that, else 0.
    std::array<std::uint16_t, 1 << kLookahead> m_lookahead{};
};

}  // namespace lumato::jpeg
