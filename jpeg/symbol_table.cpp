#include "jpeg/symbol_table.h"

#include <algorithm>

namespace lumato::jpeg {

bool SymbolTable::Define(ByteSpan bits, ByteSpan values) {
    std::uint32_t code = 0;
    unsigned count = 0;
    for (unsigned i = 0; i < 16; ++i) {
        MINCODE[i] = static_cast<std::uint16_t>(code);
        VALPTR[i] = static_cast<std::uint8_t>(count);
        count += bits[i];
        code += static_cast<std::uint32_t>(bits[i]) << (15 - i);
    }
    if (code > 0x10000)
        return false;
    std::copy(values.begin(), values.end(), m_symbols.begin());
    m_symbolCount = static_cast<int>(count);
    m_codeEnd = code;
    FillLookahead();
    return true;
}

void SymbolTable::FillLookahead() {
    m_lookahead.fill(0);
    for (unsigned length = 1; length <= kLookahead; ++length) {
        // MINCODE of the next length is 0 where a complete code has wrapped: such codes are left to Search().
        const unsigned first = MINCODE[length - 1] >> (16 - kLookahead);
        const unsigned end = MINCODE[length] >> (16 - kLookahead);
        for (unsigned prefix = first; prefix < end; ++prefix) {
            const unsigned index = VALPTR[length - 1] + ((prefix - first) >> (kLookahead - length));
            m_lookahead[prefix] = static_cast<std::uint16_t>(length << 8 | m_symbols[index]);
        }
    }
}

SymbolTable::Match SymbolTable::Search(std::uint32_t window) const {
    unsigned length = 1;
    while (length < 16 && window >= MINCODE[length])
        ++length;
    const std::uint32_t offset = (window - MINCODE[length - 1]) & 0xFFFF;
    const std::uint32_t index = VALPTR[length - 1] + (offset >> (16 - length));
    const int symbol = index < static_cast<std::uint32_t>(m_symbolCount) ? m_symbols[index] : 0;
    return {static_cast<int>(length), symbol};
}

}  // namespace lumato::jpeg
