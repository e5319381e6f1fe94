// Symbols to codes: a Huffman table in the form in which the encoder looks it up.
//
// Constant after it was computed, when any number of threads may read it.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/tables.h"

namespace lumato::jpeg {

struct tag_HUFFMAN_TABLE {                // the name is historical
    std::array<std::uint32_t, 256> code;  // by symbol, right-aligned
    std::array<std::uint8_t, 256> size;   // code lengths in bits; 0: the symbol has no code
};

// Assigns the canonical codes of T.81 Annex C.
[[nodiscard]] tag_HUFFMAN_TABLE ComputeHuffmanTable(const HuffmanList& list);

}  // namespace lumato::jpeg
