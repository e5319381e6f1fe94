#include "jpeg/value_table.h"

#include "jpeg/tables.h"

namespace lumato::jpeg {
namespace {

// A symbol and its additional bits.
struct Coded {
    int length = 0;  // 0: they do not fit
    int symbol = 0;
    int value = 0;
};

// What the `available` bits of `bits` (left-aligned in 16) start with.
Coded FindCoded(const SymbolTable& symbols, std::uint32_t bits, int available) {
    const SymbolTable::Match match = symbols.Find(bits);
    const int category = match.symbol & 15;
    const int length = match.length + category;
    if (length > available)
        return {};
    const std::uint32_t additional = bits >> (16 - length) & ((1U << category) - 1);
    return {length, match.symbol, ExtendedValue(additional, category)};
}

std::uint8_t SkipOf(int symbol) {
    return static_cast<std::uint8_t>(symbol == 0 ? AcTable::kPastTheBlock : (symbol >> 4) + 1);
}

// A standard table in both of its forms.
template <class Values>
struct StandardValues {
    explicit StandardValues(StandardTable which) : values(Define(which)) {}

    SymbolTable symbols;
    Values values;

  private:
    const SymbolTable& Define(StandardTable which) {
        const HuffmanList& list = StandardHuffman(which);
        symbols.Define(list.bits, list.huffval);
        return symbols;
    }
};

template <class Values>
const Values& ValuesFor(const StandardValues<Values>& luminance, const StandardValues<Values>& chrominance,
                        const SymbolTable& symbols, std::unique_ptr<Values>& storage) {
    if (luminance.symbols == symbols)
        return luminance.values;
    if (chrominance.symbols == symbols)
        return chrominance.values;
    storage = std::make_unique<Values>(symbols);
    return *storage;
}

}  // namespace

DcTable::DcTable(const SymbolTable& symbols) {
    for (std::uint32_t window = 0; window < m_entries.size(); ++window) {
        const Coded coded = FindCoded(symbols, window << (16 - kLookahead), kLookahead);
        m_entries[window] = {static_cast<std::int16_t>(coded.value), static_cast<std::uint8_t>(coded.length)};
    }
}

AcTable::AcTable(const SymbolTable& symbols) {
    for (std::uint32_t window = 0; window < m_entries.size(); ++window) {
        Entry& entry = m_entries[window];
        const std::uint32_t bits = window << (16 - kLookahead);
        const Coded first = FindCoded(symbols, bits, kLookahead);
        if (first.length == 0) {
            const SymbolTable::Match match = symbols.Find(bits);
            if (match.length <= kLookahead)
                entry = {.firstLength = static_cast<std::uint8_t>(match.length),
                         .firstSkip = SkipOf(match.symbol),
                         .firstValue = static_cast<std::int16_t>(match.symbol & 15)};
            continue;
        }
        entry.length = entry.firstLength = static_cast<std::uint8_t>(first.length);
        entry.firstSkip = SkipOf(first.symbol);
        entry.firstValue = entry.secondValue = static_cast<std::int16_t>(first.value);
        if (first.symbol == 0)  // what follows belongs to the next block
            continue;
        const Coded second = FindCoded(symbols, bits << first.length & 0xFFFF, kLookahead - first.length);
        if (second.length == 0)
            continue;
        entry.length = static_cast<std::uint8_t>(first.length + second.length);
        entry.secondSkip = SkipOf(second.symbol);
        entry.secondValue = static_cast<std::int16_t>(second.value);
    }
}

const DcTable& DcTableFor(const SymbolTable& symbols, std::unique_ptr<DcTable>& storage) {
    static const StandardValues<DcTable> luminance(StandardTable::LuminanceDc);
    static const StandardValues<DcTable> chrominance(StandardTable::ChrominanceDc);
    return ValuesFor(luminance, chrominance, symbols, storage);
}

const AcTable& AcTableFor(const SymbolTable& symbols, std::unique_ptr<AcTable>& storage) {
    static const StandardValues<AcTable> luminance(StandardTable::LuminanceAc);
    static const StandardValues<AcTable> chrominance(StandardTable::ChrominanceAc);
    return ValuesFor(luminance, chrominance, symbols, storage);
}

}  // namespace lumato::jpeg
