// Symbols to codes for the fast encoder: each with the room for its additional bits already in it.
//
// Constant after construction, when any number of threads may read it.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/huffman_code.h"

namespace lumato::jpeg {

class ValueCodes {
  public:
    explicit ValueCodes(const tag_HUFFMAN_TABLE& table) {
        for (std::size_t symbol = 0; symbol < 256; ++symbol) {
            const std::uint32_t additional = symbol & 15;
            const std::uint32_t size = table.size[symbol];
            if (size != 0 && size + additional <= 27)
                m_entries[symbol] = (table.code[symbol] << additional) << 5 | (size + additional);
        }
    }

    // The low 5 bits: how many bits the symbol and its additional bits take. Above them the code, followed by
    // as many zeros as its low 4 bits announce.
    [[nodiscard]] std::uint32_t operator[](std::size_t symbol) const { return m_entries[symbol]; }

  private:
    std::array<std::uint32_t, 256> m_entries{};
};

}  // namespace lumato::jpeg
