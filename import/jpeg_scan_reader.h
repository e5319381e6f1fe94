// Reads the coefficients of a photograph's scan, with one look for up to two of them: the larger part of an
// import is this. libjpeg does all the rest, and takes over where anything is unusual.
//
// One thread at a time per object.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include <jpeglib.h>

#include "import/coefficient_table.h"
#include "import/picture_file.h"
#include "import/scan_bytes.h"
#include "jpeg/bit_reader.h"
#include "jpeg/symbol_table.h"
#include "jpeg/value_table.h"

namespace lumato::picture {

class JpegScanReader {
  public:
    // A reader for the picture, the header of which was read up to the scan at `offset` of the file. Null
    // when its coding is not the usual one: one scan, Huffman-coded, 8 bits per sample.
    [[nodiscard]] static std::unique_ptr<JpegScanReader> For(const jpeg_decompress_struct& jpeg,
                                                             const PictureFile& file, std::int64_t offset);

    // The next MCU's coefficients, in natural order, into blocks that are all 0. False when the data are not
    // what an encoder writes; libjpeg then says what is wrong with them, if anything is.
    [[nodiscard]] bool ReadMcu(JBLOCKROW* blocks);

    // Behind the last MCU: the marker that ends the scan, and where the file goes on behind it. Marker: 0
    // when there is none, or something else in between.
    [[nodiscard]] int FinalMarker();
    [[nodiscard]] std::int64_t OffsetBehindMarker() const { return m_bytes.OffsetBehindMarker(); }

  private:
    // A Huffman table in the forms in which it is looked up.
    template <class Values>
    struct Table {
        explicit Table(const jpeg::SymbolTable& of) : symbols(of), values(of) {}
        jpeg::SymbolTable symbols;
        Values values;
    };
    struct Component {
        std::unique_ptr<Table<jpeg::DcTable>> dc;
        std::unique_ptr<Table<CoefficientTable>> ac;
        int predictor = 0;
    };
    class McuReader;

    JpegScanReader(const jpeg_decompress_struct& jpeg, const PictureFile& file, std::int64_t offset);
    template <class Values>
    static std::unique_ptr<Table<Values>> MakeTable(const JHUFF_TBL* list);
    bool Prepare(const jpeg_decompress_struct& jpeg);
    bool Fetch();
    bool Restart();
    bool ReadBlocks(JBLOCKROW* blocks);
    [[nodiscard]] bool AtIntervalEnd();

    std::array<Component, MAX_COMPS_IN_SCAN> m_components;
    std::array<std::uint8_t, D_MAX_BLOCKS_IN_MCU> m_componentOfBlock{};
    std::size_t m_blocks = 0;  // per MCU
    unsigned m_restartInterval = 0;
    unsigned m_untilRestart = 0;
    int m_nextRestart = 0;
    ScanBytes m_bytes;
    jpeg::BitReader m_bits{ByteSpan()};
};

}  // namespace lumato::picture
