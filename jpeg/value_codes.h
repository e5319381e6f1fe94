// Symbols to codes for the fast encoder: each with the room for its additional bits already in it.
//
// Constant after construction.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/huffman_code.h"
#include "jpeg/size_codes.h"

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
    // With bounds: those of values behind runs of less than 16 zeros.
    ValueCodes(const tag_HUFFMAN_TABLE& table, const SizeCodes& sizes) : ValueCodes(table) {
        for (unsigned symbol = 0; symbol < 256; ++symbol) {
            m_entries[symbol] |= std::uint64_t{sizes.ValueOfCategory(symbol >> 4, symbol & 15).sums}
                                 << kSizeShift;
        }
    }

    // The low 5 bits: how many bits the symbol and its additional bits take. Above them, up to kSizeShift:
    // the code, followed by as many zeros as its low 4 bits announce. From there on: the fewest bits that the
    // value takes at higher qualities (size_codes.h).
    [[nodiscard]] std::uint64_t operator[](std::size_t symbol) const { return m_entries[symbol]; }
    static constexpr int kSizeShift = 32;

    // With bounds: those of a value behind less than 16 zeros.
    [[nodiscard]] static SizeBits SizeIn(std::uint64_t entry) {
        return {static_cast<std::uint32_t>(entry >> kSizeShift)};
    }

  private:
    std::array<std::uint64_t, 256> m_entries{};
};

}  // namespace lumato::jpeg
