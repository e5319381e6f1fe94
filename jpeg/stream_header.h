// The part of a frame picture stream in front of the coded MCUs: its header and its table block, both ways.
//
// No state; callable from any thread. stream_format.h shows the whole layout.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "base/bytes.h"
#include "base/error.h"
#include "jpeg/inverse_dct.h"
#include "jpeg/mcu_grid.h"
#include "jpeg/symbol_table.h"
#include "jpeg/tables.h"

namespace lumato::jpeg {

// Writes the 16 header bytes. `mode` counts in its low 8 bits; `scaleFactor` is stored with kOmitTables only.
void PutHeader(MutableByteSpan out, int width, int height, int mode, std::uint16_t scaleFactor);

// Writes the kTableBlockSize bytes of the table block: these quantization tables and the standard Huffman
// tables.
void PutTableBlock(MutableByteSpan out, const QuantTable& quantY, const QuantTable& quantC);

// The header's fields; the selectors name a table (0 or 1) for Y, Cb and Cr.
struct dpf_header {  // the name is historical: digital picture frame
    int width = 0;
    int height = 0;
    int mode = 0;
    std::array<std::uint8_t, 3> quantTable{};
    std::array<std::uint8_t, 3> dcTable{};
    std::array<std::uint8_t, 3> acTable{};
};

// A stream whose front has been read and found sound.
struct ParsedStream {
    dpf_header header;
    McuGrid grid;
    std::array<DequantTable, 2> TableDQT{};
    std::array<bool, 2> isQuantDefined{};
    std::array<SymbolTable, 4> huffman;  // DC 0, DC 1, AC 0, AC 1
    ByteSpan coded;                      // borrowed from the stream: the MCUs and whatever follows them
};

// Reads everything in front of the coded MCUs. Errors: Damaged (also when fewer bytes than MCUs are left, and
// for tables that a selector names and nobody defined), Refused (not of the expected size; 0 accepts any).
[[nodiscard]] Result<ParsedStream> ParseStream(ByteSpan stream, int expectedWidth, int expectedHeight);

// The quality that a stream was encoded with, as its scale factor or its quantization tables tell; nothing
// for tables that no quality gives, and for what is no stream.
[[nodiscard]] std::optional<int> QualityOf(ByteSpan stream);

}  // namespace lumato::jpeg
