// The decoder's inner loops, with everything but the entropy coding in vectors, behind the choice of the form
// that the processor can run.
//
// No state. The plain twins are in decoder.cpp, inverse_dct.cpp and mcu_painter.cpp.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "jpeg/inverse_dct.h"
#include "jpeg/stream_header.h"
#include "jpeg/value_table.h"

namespace lumato::jpeg {

struct DecodedPicture;

// Decodes the MCUs of a stream in order, as far as its data go, and paints them into the picture, which has
// the stream's size. Returns how many there were.
[[nodiscard]] std::size_t DecodeInVectors(const ParsedStream& parsed, DecodedPicture& picture);

// Dequantization in 16 bits: (coefficient * quant + 32) >> 6 is the product of `coefficient << shift` and
// `multiplier`, rounded to 15 fractional bits, as long as the coefficient stays below the limit.
struct WordDequantizer {
    explicit WordDequantizer(const DequantTable& table);

    [[nodiscard]] int Limit() const { return 1 << (15 - shift); }  // of the coefficients' magnitudes

    const DequantTable* plain;
    int shift;
    alignas(16) std::int16_t multiplier[64];
};

// Both forms of the Huffman tables of one component.
struct ComponentTables {
    const ValueTable* dcValues;
    const ValueTable* acValues;
    const SymbolTable* dcSymbols;
    const SymbolTable* acSymbols;
};

// A stream's tables as the vector forms look them up, by component; borrows from the stream.
struct StreamTables {
    explicit StreamTables(const ParsedStream& parsed);

    std::array<ComponentTables, 3> components;
    std::array<WordDequantizer, 3> dequantizers;
    std::array<std::unique_ptr<ValueTable>, 6> storage;  // of tables that are not the standard ones
};

// The inverse transform alone, of one group of blocks (chunk.h), for tests: the blocks' samples side by side,
// `stride` bytes per row.
void InverseBlocks(const WordDequantizer& dequantizer, const std::int16_t* coefficients,
                   std::uint8_t* samples, std::size_t stride);

}  // namespace lumato::jpeg
