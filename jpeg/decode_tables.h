// A stream's tables as the decoder looks them up.
//
// Constant after construction, when any number of threads may read them; borrow from the stream.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "jpeg/inverse_dct.h"
#include "jpeg/stream_header.h"
#include "jpeg/value_table.h"

namespace lumato::jpeg {

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

// By component.
struct StreamTables {
    // `group`: blocks per group.
    StreamTables(const ParsedStream& parsed, std::size_t group);

    std::array<ComponentTables, 3> components;
    std::array<ScanPlaces, 2> scans;  // by quantization table
    // Of tables that are not the standard ones.
    std::array<std::unique_ptr<DcTable>, 3> dcStorage;
    std::array<std::unique_ptr<AcTable>, 3> acStorage;
};

}  // namespace lumato::jpeg
