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

// By place in the scan: what becomes of a coefficient. Places behind the block are the last one's, too: a run
// that passes the last coefficient ends at it.
struct ScanPlaces {
    struct Place {
        std::uint16_t offset;  // from the block's start in its group (chunk.h)
        std::uint16_t quant;
    };

    ScanPlaces(const DequantTable& table, std::size_t group);

    std::array<Place, 160> places;
};

// The tables of one component; of the Huffman tables both forms.
struct ComponentTables {
    const DcTable* dcValues;
    const AcTable* acValues;
    const SymbolTable* dcSymbols;
    const SymbolTable* acSymbols;
    const ScanPlaces* scan;
};

// A stream's tables as the vector forms look them up, by component; borrows from the stream.
struct StreamTables {
    explicit StreamTables(const ParsedStream& parsed);

    std::array<ComponentTables, 3> components;
    std::array<ScanPlaces, 2> scans;  // by quantization table
    // Of tables that are not the standard ones.
    std::array<std::unique_ptr<DcTable>, 3> dcStorage;
    std::array<std::unique_ptr<AcTable>, 3> acStorage;
};

// The inverse transform alone, of one group of dequantized blocks (chunk.h), for tests: the blocks' samples
// side by side, `stride` bytes per row.
void InverseBlocks(const std::int16_t* coefficients, std::uint8_t* samples, std::size_t stride);

}  // namespace lumato::jpeg
