#include "jpeg/symbol_table.h"

#include <map>
#include <numeric>

#include <gtest/gtest.h>

#include "jpeg/tables.h"
#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {
namespace {

struct Counts {
    const char* name;
    std::array<std::uint8_t, 16> bits;
};

const Counts kTables[] = {
    {"luminance DC", {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}},
    {"chrominance AC", {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77}},
    {"one code", {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"one code of 16 bits", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}},
    {"complete at 2", {0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"complete at 4", {1, 1, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"complete at 16", {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2}},
    {"around the lookahead", {0, 0, 1, 0, 0, 0, 0, 5, 20, 40, 3, 0, 0, 0, 0, 0}},
};

Bytes ValuesOf(const Counts& table) {
    Bytes values(std::accumulate(table.bits.begin(), table.bits.end(), std::size_t{0}));
    std::iota(values.begin(), values.end(), std::uint8_t{1});
    return values;
}

// Code length and symbol by the rule alone: the first codes of each length, left-aligned in 16 bits, where a
// first code of 0 is passed over.
std::pair<int, int> ByTheRule(const Counts& table, std::uint32_t window) {
    std::array<std::uint32_t, 17> first{};
    std::array<std::uint32_t, 17> shorter{};
    for (std::size_t i = 0; i < 16; ++i) {
        first[i + 1] = (first[i] + (std::uint32_t{table.bits[i]} << (15 - i))) & 0xFFFF;
        shorter[i + 1] = shorter[i] + table.bits[i];
    }
    std::size_t length = 1;
    while (length <= 15 && (first[length] == 0 || window >= first[length]))
        ++length;
    const std::uint32_t index =
        shorter[length - 1] + (((window - first[length - 1]) & 0xFFFF) >> (16 - length));
    return {static_cast<int>(length), index < shorter[16] ? static_cast<int>(index) + 1 : 0};
}

TEST(SymbolTable, LookingAheadFindsWhatTheRuleFinds) {
    for (const Counts& table : kTables) {
        SymbolTable symbols;
        ASSERT_TRUE(symbols.Define(table.bits, ValuesOf(table))) << table.name;
        for (std::uint32_t window = 0; window < 0x10000; ++window) {
            const SymbolTable::Match match = symbols.Find(window);
            const auto [length, symbol] = ByTheRule(table, window);
            ASSERT_EQ(match.length, length) << table.name << " " << window;
            ASSERT_EQ(match.symbol, symbol) << table.name << " " << window;
        }
    }
}

TEST(SymbolTable, RefusesMoreCodesThanThereCanBe) {
    const Counts tooMany[] = {
        {"3 of 1 bit", {3}}, {"2 + 1", {2, 1}}, {"late", {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 3}}};
    for (const Counts& table : tooMany) {
        SymbolTable symbols;
        EXPECT_FALSE(symbols.Define(table.bits, ValuesOf(table))) << table.name;
    }
}

// A table that is defined again must forget the first one.
TEST(SymbolTable, TheLastDefinitionCounts) {
    SymbolTable symbols;
    ASSERT_TRUE(symbols.Define(kTables[1].bits, ValuesOf(kTables[1])));
    ASSERT_TRUE(symbols.Define(kTables[3].bits, ValuesOf(kTables[3])));
    for (std::uint32_t window = 0; window < 0x10000; ++window)
        ASSERT_EQ(symbols.Find(window).symbol, ByTheRule(kTables[3], window).second) << window;
}

}  // namespace
}  // namespace lumato::jpeg
