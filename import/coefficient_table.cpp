#include "import/coefficient_table.h"

namespace lumato::picture {
namespace {

constexpr int kEndOfBlock = 0;

// The symbol whose code starts `used` bits behind the first, or length 0 when the look does not tell it.
jpeg::SymbolTable::Match Next(const jpeg::SymbolTable& symbols, std::uint32_t look, int used) {
    const int left = CoefficientTable::kLookahead - used;
    if (left <= 0)
        return {};
    const jpeg::SymbolTable::Match match = symbols.Find(look << (16 - left) & 0xFFFF);
    return match.length <= left ? match : jpeg::SymbolTable::Match{};
}

CoefficientTable::Entry EntryFor(const jpeg::SymbolTable& symbols, std::uint32_t look) {
    const auto byte = [](auto value) { return static_cast<std::uint8_t>(value); };
    const auto skip = [](int symbol) { return static_cast<std::uint8_t>((symbol >> 4) + 1); };
    const jpeg::SymbolTable::Match first = Next(symbols, look, 0);
    if (first.length == 0)
        return {};
    if (first.symbol == kEndOfBlock)
        return {.length = byte(first.length), .firstSkip = CoefficientTable::kPastTheBlock};
    CoefficientTable::Entry entry;
    entry.firstStart = entry.secondStart = byte(first.length);
    entry.firstBits = entry.secondBits = byte(first.symbol & 15);
    entry.firstSkip = skip(first.symbol);
    int used = first.length + entry.firstBits;
    jpeg::SymbolTable::Match next = Next(symbols, look, used);
    if (next.length != 0 && next.symbol != kEndOfBlock) {
        entry.secondStart = byte(used + next.length);
        entry.secondBits = byte(next.symbol & 15);
        entry.secondSkip = skip(next.symbol);
        used = entry.secondStart + entry.secondBits;
        next = Next(symbols, look, used);
    }
    if (next.length != 0 && next.symbol == kEndOfBlock) {
        entry.endSkip = CoefficientTable::kPastTheBlock;
        used += next.length;
    }
    entry.length = byte(used);
    return entry;
}

}  // namespace

CoefficientTable::CoefficientTable(const jpeg::SymbolTable& symbols) {
    for (std::uint32_t look = 0; look < m_entries.size(); ++look)
        m_entries[look] = EntryFor(symbols, look);
}

}  // namespace lumato::picture
