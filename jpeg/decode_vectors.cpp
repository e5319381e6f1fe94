#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/decode_vectors.cpp"
#include "jpeg/decode_vectors.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "jpeg/decoder.h"
#include "jpeg/encode_vectors.h"
#include "jpeg/tables.h"

#if HWY_TARGET != HWY_SCALAR
#include "jpeg/vector_inverse.inl.h"
#include "jpeg/vector_paint.inl.h"
#include "jpeg/vector_read.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// Decodes one stream, a chunk at a time.
class ChunkDecoder {
  public:
    ChunkDecoder(const ParsedStream& parsed, const StreamTables& tables, DecodedPicture& picture)
        : m_tables(tables), m_grid(parsed.grid), m_picture(picture), m_bits(parsed.coded) {}

    std::size_t DecodeAll() {
        std::size_t decoded = 0;
        for (int mcuY = 0; mcuY < m_grid.mcusDown; ++mcuY) {
            for (int chunk = 0; chunk < ChunksAcross(m_grid); ++chunk) {
                const int wanted =
                    std::min(McusPerChunk(m_grid), m_grid.mcusAcross - chunk * McusPerChunk(m_grid));
                const int read = Read(wanted);
                Transform(read);
                const auto paint = m_grid.wide ? PaintChunk<true> : PaintChunk<false>;
                paint(m_samples, m_grid, chunk, mcuY, read, m_picture);
                decoded += static_cast<std::size_t>(read);
                if (read < wanted)
                    return decoded;
            }
        }
        return decoded;
    }

  private:
    // Reads up to `wanted` MCUs; returns how many the data hold.
    int Read(int wanted) {
        Clear(wanted);
        // Local, so that the compiler knows that storing coefficients does not change it.
        FastBitReader bits = m_bits;
        const std::size_t across = m_grid.wide ? 2 : 1;
        const std::size_t down = m_grid.tall ? 2 : 1;
        int read = 0;
        for (std::size_t mcu = 0; read < wanted; ++mcu, ++read) {
            ReadBlock(m_tables.components[1], m_predictors[1], m_blocks.cb + BlockStart(mcu, kGroup), bits);
            ReadBlock(m_tables.components[2], m_predictors[2], m_blocks.cr + BlockStart(mcu, kGroup), bits);
            for (std::size_t row = 0; row < down; ++row) {
                for (std::size_t column = 0; column < across; ++column)
                    ReadBlock(m_tables.components[0], m_predictors[0],
                              m_blocks.luma[row] + BlockStart(mcu * across + column, kGroup), bits);
            }
            bits.AlignToByte();
            if (bits.IsPastEnd())
                break;
        }
        m_bits = bits;
        return read;
    }

    void Clear(int mcus) {
        const auto blocks = (static_cast<std::size_t>(mcus) + kGroup - 1) / kGroup * kGroup;
        const std::size_t lumaBlocks = m_grid.wide ? 2 * blocks : blocks;
        std::memset(m_blocks.cb, 0, blocks * 64 * sizeof *m_blocks.cb);
        std::memset(m_blocks.cr, 0, blocks * 64 * sizeof *m_blocks.cr);
        std::memset(m_blocks.luma[0], 0, lumaBlocks * 64 * sizeof *m_blocks.cb);
        if (m_grid.tall)
            std::memset(m_blocks.luma[1], 0, lumaBlocks * 64 * sizeof *m_blocks.cb);
    }

    void Transform(int mcus) {
        const auto blocks = static_cast<std::size_t>(mcus);
        const std::size_t lumaBlocks = m_grid.wide ? 2 * blocks : blocks;
        TransformRow(m_blocks.cb, blocks, m_samples.cb);
        TransformRow(m_blocks.cr, blocks, m_samples.cr);
        TransformRow(m_blocks.luma[0], lumaBlocks, m_samples.luma);
        if (m_grid.tall)
            TransformRow(m_blocks.luma[1], lumaBlocks, m_samples.luma + 8 * kChunkColumns);
    }

    static void TransformRow(const std::int16_t* coefficients, std::size_t blocks, std::uint8_t* samples) {
        for (std::size_t block = 0; block < blocks; block += kGroup)
            InverseGroupExactly(coefficients + block * 64, samples + block * 8, kChunkColumns);
    }

    const StreamTables& m_tables;
    const McuGrid& m_grid;
    DecodedPicture& m_picture;
    FastBitReader m_bits;
    std::array<std::int16_t, 3> m_predictors{};
    ChunkCoefficients m_blocks;
    ChunkSamples m_samples;
};

std::size_t DecodeHere(const ParsedStream& parsed, const StreamTables& tables, DecodedPicture& picture) {
    return ChunkDecoder(parsed, tables, picture).DecodeAll();
}

void InverseBlocksHere(const std::int16_t* coefficients, std::uint8_t* samples, std::size_t stride) {
    InverseGroupExactly(coefficients, samples, stride);
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#else
// A processor without vectors: UsesVectors() says so, and nobody comes here.
namespace lumato::jpeg::HWY_NAMESPACE {
std::size_t DecodeHere(const ParsedStream&, const StreamTables&, DecodedPicture&) {
    return 0;
}
void InverseBlocksHere(const std::int16_t*, std::uint8_t*, std::size_t) {}
}  // namespace lumato::jpeg::HWY_NAMESPACE
#endif

#if HWY_ONCE
namespace lumato::jpeg {

HWY_EXPORT(DecodeHere);
HWY_EXPORT(InverseBlocksHere);

ScanPlaces::ScanPlaces(const DequantTable& table, std::size_t group) {
    for (std::size_t place = 0; place < places.size(); ++place) {
        const std::size_t natural = jpeg_natural_order[std::min<std::size_t>(place, 63)];
        places[place] = {static_cast<std::uint16_t>(natural / 8 * (8 * group) + natural % 8), table[natural]};
    }
}

StreamTables::StreamTables(const ParsedStream& parsed)
    : scans{ScanPlaces(parsed.TableDQT[0], BlocksPerGroup()),
            ScanPlaces(parsed.TableDQT[1], BlocksPerGroup())} {
    const dpf_header& header = parsed.header;
    for (std::size_t i = 0; i < 3; ++i) {
        ComponentTables& component = components[i];
        component.scan = &scans[header.quantTable[i]];
        component.dcSymbols = &parsed.huffman[header.dcTable[i]];
        component.acSymbols = &parsed.huffman[2U + header.acTable[i]];
        component.dcValues = &DcTableFor(*component.dcSymbols, dcStorage[i]);
        component.acValues = &AcTableFor(*component.acSymbols, acStorage[i]);
    }
}

std::size_t DecodeInVectors(const ParsedStream& parsed, DecodedPicture& picture) {
    const StreamTables tables(parsed);
    return HWY_DYNAMIC_DISPATCH(DecodeHere)(parsed, tables, picture);
}

void InverseBlocks(const std::int16_t* coefficients, std::uint8_t* samples, std::size_t stride) {
    HWY_DYNAMIC_DISPATCH(InverseBlocksHere)(coefficients, samples, stride);
}

}  // namespace lumato::jpeg
#endif
