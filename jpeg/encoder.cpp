#include "jpeg/encoder.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdlib>
#include <limits>

#include "jpeg/bit_writer.h"
#include "jpeg/chunk_coder.h"
#include "jpeg/codec_form.h"
#include "jpeg/mcu_grid.h"
#include "jpeg/mcu_samples.h"
#include "jpeg/stream_header.h"

namespace lumato::jpeg {
namespace {

constexpr std::size_t kLuminance = 0;
constexpr std::size_t kChrominance = 1;

bool CanEncode(int width, int height) {
    return width >= 1 && height >= 1 && width <= kLargestSide && height <= kLargestSide;
}

// T.81 section F.1.2: the magnitude category of a value, and the bits that tell it within the category.
int CategoryOf(int value) {
    return static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(value))));
}
std::uint32_t AdditionalBitsOf(int value) {
    return static_cast<std::uint32_t>(value < 0 ? value - 1 : value);
}

void EmitSymbol(const tag_HUFFMAN_TABLE& table, int symbol, BitWriter& bits) {
    const auto index = static_cast<std::size_t>(symbol);
    assert(table.size[index] != 0);
    bits.Emit(table.code[index], table.size[index]);
}

// `category` is that of `value`.
void EmitValue(const tag_HUFFMAN_TABLE& table, int symbol, int value, int category, BitWriter& bits) {
    EmitSymbol(table, symbol, bits);
    bits.Emit(AdditionalBitsOf(value), category);
}

// Fills the MCU table, from its first entry on.
class McuTable {
  public:
    explicit McuTable(std::uint8_t* firstEntry) : m_cursor(firstEntry) {}

    void Add(const std::array<int, 3>& predictors, const std::uint8_t* data) {
        const MutableByteSpan entry(m_cursor, kMcuEntrySize);
        for (std::size_t i = 0; i < 3; ++i)
            PutLe16(entry.subspan(2 * i), static_cast<std::uint32_t>(predictors[i]));
        PutLe16(entry.subspan(6), static_cast<std::uint32_t>(data - m_cursor));
        m_cursor += kMcuEntrySize;
    }

  private:
    std::uint8_t* m_cursor;
};

// The four standard code tables, in the form of the plain encoder and in that of the fast one.
struct CodeTables {
    tag_HUFFMAN_TABLE luminanceDc{ComputeHuffmanTable(StandardHuffman(StandardTable::LuminanceDc))};
    tag_HUFFMAN_TABLE luminanceAc{ComputeHuffmanTable(StandardHuffman(StandardTable::LuminanceAc))};
    tag_HUFFMAN_TABLE chrominanceDc{ComputeHuffmanTable(StandardHuffman(StandardTable::ChrominanceDc))};
    tag_HUFFMAN_TABLE chrominanceAc{ComputeHuffmanTable(StandardHuffman(StandardTable::ChrominanceAc))};
};
const CodeTables& Codes() {
    static const CodeTables tables;
    return tables;
}
struct FastCodeTables {
    ValueCodes luminanceDc{Codes().luminanceDc};
    ValueCodes luminanceAc{Codes().luminanceAc};
    ValueCodes chrominanceDc{Codes().chrominanceDc};
    ValueCodes chrominanceAc{Codes().chrominanceAc};
};
const FastCodeTables& FastCodes() {
    static const FastCodeTables tables;
    return tables;
}

}  // namespace

std::size_t MaximumStreamSize(int width, int height, int mode) {
    if (!CanEncode(width, height))
        return 0;
    const McuGrid grid = GridOf(width, height, mode);
    const std::size_t mcuBytes = (static_cast<std::size_t>(2 + grid.lumaBlocks) * kLargestBlockBits + 7) / 8;
    return kHeaderSize + kTableBlockSize + grid.McuCount() * (kMcuEntrySize + mcuBytes);
}

CVaskJpegEncoder::CVaskJpegEncoder(int quality)
    : m_scaleFactor(ScaleFactorOf(quality)),
      m_quant{ScaleTable(std_luminance_quant_tbl, m_scaleFactor),
              ScaleTable(std_chrominance_quant_tbl, m_scaleFactor)},
      m_coding{BlockCoding{Quantizer(m_quant[kLuminance]), &Codes().luminanceDc, &Codes().luminanceAc},
               BlockCoding{Quantizer(m_quant[kChrominance]), &Codes().chrominanceDc, &Codes().chrominanceAc}},
      m_fastCoding{
          FastCoding{WordQuantizer(m_quant[kLuminance]), &FastCodes().luminanceDc, &FastCodes().luminanceAc},
          FastCoding{WordQuantizer(m_quant[kChrominance]), &FastCodes().chrominanceDc,
                     &FastCodes().chrominanceAc}} {}

bool CVaskJpegEncoder::CompressImage(const unsigned char* source, unsigned char* destination, int width,
                                     int height, int& outputSize, int mode) const {
    const auto size =
        CompressWithin({source, width, height}, destination, mode, std::numeric_limits<int>::max());
    outputSize = size.value_or(outputSize);
    return size.has_value();
}

std::optional<int> CVaskJpegEncoder::CompressWithin(const SourcePicture& source, std::uint8_t* destination,
                                                    int mode, int budget) const {
    if (source.pixels == nullptr || destination == nullptr || !CanEncode(source.width, source.height))
        return std::nullopt;
    const McuGrid grid = GridOf(source.width, source.height, mode);
    std::uint8_t* const mcuTable = (mode & kOmitMcuTable) == 0 ? destination + G_TableMCUOffSet : nullptr;
    std::uint8_t* const coded = WriteJpegHeader(destination, source.width, source.height, mode);
    const std::ptrdiff_t room = budget - (coded - destination);
    const std::uint8_t* const end = UsesVectors() ? CodeInVectors(source, grid, mcuTable, coded, room)
                                                  : CodePlainly(source, grid, mcuTable, coded, room);
    if (end - coded > room)
        return std::nullopt;
    return static_cast<int>(end - destination);
}

// Encoding again and again takes little: where the budget ends early, so does coding.
std::optional<int> EncodeWithin(const SourcePicture& source, std::uint8_t* destination, int mode,
                                int& quality, int step, int budget) {
    for (;; quality -= step) {
        const bool isLast = quality - step <= 0;
        const auto size = CVaskJpegEncoder(quality).CompressWithin(
            source, destination, mode, isLast ? std::numeric_limits<int>::max() : budget);
        if (size || isLast)
            return size;
    }
}

std::uint8_t* CVaskJpegEncoder::CodePlainly(const SourcePicture& source, const McuGrid& grid,
                                            std::uint8_t* mcuTable, std::uint8_t* out,
                                            std::ptrdiff_t room) const {
    McuTable table(mcuTable);
    BitWriter bits(out);
    McuSampler sampler(source.pixels, source.width, source.height, grid);
    McuBlocks samples;
    std::array<int, 3> predictors{};
    for (int mcuY = 0; mcuY < grid.mcusDown && bits.Position() - out <= room; ++mcuY) {
        for (int mcuX = 0; mcuX < grid.mcusAcross; ++mcuX) {
            sampler.Sample(mcuX, mcuY, samples);
            if (mcuTable != nullptr)
                table.Add(predictors, bits.Position());
            CompressOneTile(samples, grid.lumaBlocks, predictors, bits);
        }
    }
    return bits.Position();
}

std::uint8_t* CVaskJpegEncoder::CodeInVectors(const SourcePicture& source, const McuGrid& grid,
                                              std::uint8_t* mcuTable, std::uint8_t* out,
                                              std::ptrdiff_t room) const {
    ChunkCoder coder(FastCodings(), grid, mcuTable, out);
    ChunkCoefficients coefficients;
    for (int mcuY = 0; mcuY < grid.mcusDown && coder.End() - out <= room; ++mcuY) {
        for (int chunk = 0; chunk < ChunksAcross(grid); ++chunk) {
            TransformChunk(source, grid, chunk, mcuY, coefficients);
            coder.Code(McusIn(grid, chunk), coefficients);
        }
    }
    return coder.End();
}

// Leaves room for the MCU table; answers where the coded MCUs begin.
std::uint8_t* CVaskJpegEncoder::WriteJpegHeader(std::uint8_t* out, int width, int height, int mode) const {
    PutHeader(MutableByteSpan(out, kHeaderSize), width, height, mode, m_scaleFactor);
    out += kHeaderSize;
    if ((mode & kOmitMcuTable) == 0)
        out += GridOf(width, height, mode).McuCount() * kMcuEntrySize;
    if ((mode & kOmitTables) == 0) {
        PutTableBlock(MutableByteSpan(out, kTableBlockSize), m_quant[kLuminance], m_quant[kChrominance]);
        out += kTableBlockSize;
    }
    return out;
}

void CVaskJpegEncoder::CompressOneTile(const McuBlocks& samples, int lumaBlocks,
                                       std::array<int, 3>& predictors, BitWriter& bits) const {
    constexpr std::size_t kChromaBlocks = 2;
    Block coefficients;
    for (std::size_t block = 0; block < kChromaBlocks + static_cast<std::size_t>(lumaBlocks); ++block) {
        const bool isChroma = block < kChromaBlocks;
        const BlockCoding& coding = m_coding[isChroma ? kChrominance : kLuminance];
        ForwardDct(samples[block], coefficients);
        coding.quantizer.Quantize(coefficients);
        HuffmanEncode(coefficients, coding, predictors[isChroma ? block + 1 : 0], bits);
    }
    bits.FillByte();
}

void CVaskJpegEncoder::HuffmanEncode(const Block& coefficients, const BlockCoding& coding, int& predictor,
                                     BitWriter& bits) {
    constexpr int kEndOfBlock = 0x00;
    constexpr int kSixteenZeros = 0xF0;
    const int difference = coefficients[0] - predictor;
    predictor = coefficients[0];
    const int dcCategory = CategoryOf(difference);
    EmitValue(*coding.dc, dcCategory, difference, dcCategory, bits);

    int zeros = 0;
    for (std::size_t k = 1; k < 64; ++k) {
        const int value = coefficients[jpeg_natural_order[k]];
        if (value == 0) {
            ++zeros;
            continue;
        }
        for (; zeros > 15; zeros -= 16)
            EmitSymbol(*coding.ac, kSixteenZeros, bits);
        const int category = CategoryOf(value);
        assert(category <= 10);  // the quantizer bounds them
        EmitValue(*coding.ac, 16 * zeros + category, value, category, bits);
        zeros = 0;
    }
    if (zeros > 0)
        EmitSymbol(*coding.ac, kEndOfBlock, bits);
}

}  // namespace lumato::jpeg
