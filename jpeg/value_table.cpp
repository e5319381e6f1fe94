#include "jpeg/value_table.h"

#include <algorithm>

#include "jpeg/tables.h"

namespace lumato::jpeg {
namespace {

// A standard table in both of its forms.
struct StandardValues {
    StandardValues(StandardTable which, ValueTable::Kind tableKind)
        : kind(tableKind), values(Define(which), kind) {}

    ValueTable::Kind kind;
    SymbolTable symbols;
    ValueTable values;

  private:
    const SymbolTable& Define(StandardTable which) {
        const HuffmanList& list = StandardHuffman(which);
        symbols.Define(list.bits, list.huffval);
        return symbols;
    }
};

}  // namespace

ValueTable::ValueTable(const SymbolTable& symbols, Kind kind) {
    for (std::uint32_t window = 0; window < m_entries.size(); ++window) {
        const SymbolTable::Match match = symbols.Find(window << (16 - kLookahead));
        const int category = match.symbol & 15;
        const int run = kind == Kind::Ac ? match.symbol >> 4 : 0;
        const int length = match.length + category;
        m_entries[window] = 0;
        if (length > kLookahead)
            continue;
        const std::uint32_t bits = window >> (kLookahead - length) & ((1U << category) - 1);
        const int skip = run == 0 && category == 0 ? kPastTheBlock : run + 1;
        m_entries[window] = static_cast<std::uint32_t>(ExtendedValue(bits, category)) << 16 |
                            static_cast<std::uint32_t>(skip) << 8 | static_cast<std::uint32_t>(length);
    }
}

const ValueTable& ValueTableFor(const SymbolTable& symbols, ValueTable::Kind kind,
                                std::unique_ptr<ValueTable>& storage) {
    using Kind = ValueTable::Kind;
    static const StandardValues standard[] = {{StandardTable::LuminanceDc, Kind::Dc},
                                              {StandardTable::LuminanceAc, Kind::Ac},
                                              {StandardTable::ChrominanceDc, Kind::Dc},
                                              {StandardTable::ChrominanceAc, Kind::Ac}};
    for (const StandardValues& one : standard) {
        if (one.kind == kind && one.symbols == symbols)
            return one.values;
    }
    storage = std::make_unique<ValueTable>(symbols, kind);
    return *storage;
}

}  // namespace lumato::jpeg
