#include "jpeg/bounded_encoding.h"

#include <algorithm>
#include <numeric>

#include "jpeg/chunk_coder.h"
#include "jpeg/stream_format.h"

namespace lumato::jpeg {

std::size_t SizeBeforeMcus(const McuGrid& grid, int mode) {
    return kHeaderSize + ((mode & kOmitTables) == 0 ? kTableBlockSize : 0) +
           ((mode & kOmitMcuTable) == 0 ? grid.McuCount() * kMcuEntrySize : 0);
}

BoundedEncoding::BoundedEncoding(const SourcePicture& source, std::uint8_t* destination, int mode,
                                 std::size_t budget)
    : m_source(source),
      m_destination(destination),
      m_mode(mode),
      m_grid(GridOf(source.width, source.height, mode)),
      m_budget(budget),
      m_firsts(m_grid),
      m_leastBits(m_grid.McuCount() + kFirstsPadding),
      m_leastBytes(m_leastBits.size()),
      m_countedBytes(static_cast<std::size_t>(ChunksAcross(m_grid)) *
                     static_cast<std::size_t>(m_grid.mcusDown)) {}

std::optional<std::size_t> BoundedEncoding::Encode(int quality, const Ahead& ahead) {
    const CVaskJpegEncoder encoder(quality);
    std::optional<CVaskJpegEncoder> counting;
    if (ahead.share > 0) {
        counting.emplace(ahead.quality);
        StartCounting(ahead.quality);
    }
    std::uint8_t* const mcuTable = (m_mode & kOmitMcuTable) == 0 ? m_destination + G_TableMCUOffSet : nullptr;
    ChunkCoder coder(encoder.FastCodings(), m_grid, mcuTable,
                     encoder.WriteJpegHeader(m_destination, m_source.width, m_source.height, m_mode));
    double counted = 0;
    for (std::size_t index = 0; index < m_countedBytes.size(); ++index) {
        const Chunk chunk = ChunkAt(index);
        Transform(chunk);
        KeepFirsts(chunk);
        const bool isCounted = counting && counted < ahead.share * static_cast<double>(index + 1);
        if (isCounted) {
            Count(*counting, chunk);
            ++counted;
        }
        const bool hasBetterBounds = isCounted || index < m_boundedChunks;
        coder.KeepBounds(hasBetterBounds ? nullptr : &m_leastBits[chunk.firstMcu]);
        coder.Code(chunk.mcus, m_coefficients);
        if (static_cast<std::size_t>(coder.End() - m_destination) > m_budget) {
            m_boundedChunks = std::max(m_boundedChunks, index + 1);
            return std::nullopt;
        }
    }
    return static_cast<std::size_t>(coder.End() - m_destination);
}

bool BoundedEncoding::Fits(int quality) {
    if (quality != m_countedQuality)
        StartCounting(quality);
    const int scale = ScaleFactorOf(quality);
    const auto first = [scale](const QuantTable& table, const SizeCodes& sizes) {
        return FirstCoding{WordDivisor(DivisorOf(ScaleTable(table, scale)[0], aanscales[0])), &sizes};
    };
    std::size_t size =
        SizeBeforeMcus(m_grid, m_mode) + BoundSizes({first(std_luminance_quant_tbl, StandardSizes()[0]),
                                                     first(std_chrominance_quant_tbl, StandardSizes()[1])},
                                                    m_firsts, m_leastBits.data(), m_leastBytes.data());
    for (std::size_t index = 0; index < m_countedBytes.size(); ++index) {
        if (m_countedBytes[index] != 0)
            size += m_countedBytes[index] - SumOfBounds(ChunkAt(index));
    }
    if (size > m_budget)
        return false;
    const CVaskJpegEncoder encoder(quality);
    for (std::size_t index = 0; index < m_countedBytes.size(); ++index) {
        if (m_countedBytes[index] != 0)
            continue;
        const Chunk chunk = ChunkAt(index);
        Transform(chunk);
        Count(encoder, chunk);
        size += m_countedBytes[index] - SumOfBounds(chunk);
        if (size > m_budget)
            return false;
    }
    return true;
}

void BoundedEncoding::StartCounting(int quality) {
    m_countedQuality = quality;
    std::fill(m_countedBytes.begin(), m_countedBytes.end(), 0);
}

BoundedEncoding::Chunk BoundedEncoding::ChunkAt(std::size_t index) const {
    const auto across = static_cast<std::size_t>(ChunksAcross(m_grid));
    const auto x = static_cast<int>(index % across);
    const auto y = static_cast<int>(index / across);
    const std::size_t firstMcu = static_cast<std::size_t>(y) * static_cast<std::size_t>(m_grid.mcusAcross) +
                                 static_cast<std::size_t>(x * McusPerChunk(m_grid));
    return {index, x, y, firstMcu, McusIn(m_grid, x)};
}

void BoundedEncoding::Transform(const Chunk& chunk) {
    TransformChunk(m_source, m_grid, chunk.x, chunk.y, m_coefficients);
}

void BoundedEncoding::KeepFirsts(const Chunk& chunk) {
    const std::size_t group = BlocksPerGroup();
    const auto keep = [&](std::size_t block, const std::int16_t* row, std::size_t index, std::size_t step) {
        std::int16_t* firsts = m_firsts.Of(block) + chunk.firstMcu;
        for (int mcu = 0; mcu < chunk.mcus; ++mcu, index += step)
            *firsts++ = row[BlockStart(index, group)];
    };
    keep(0, m_coefficients.cb, 0, 1);
    keep(1, m_coefficients.cr, 0, 1);
    const std::size_t across = m_grid.wide ? 2 : 1;
    for (std::size_t block = 0; block < static_cast<std::size_t>(m_grid.lumaBlocks); ++block)
        keep(2 + block, m_coefficients.luma[block / across], block % across, across);
}

// Requires: the first coefficients of the MCU in front of the chunk are known.
void BoundedEncoding::Count(const CVaskJpegEncoder& encoder, const Chunk& chunk) {
    const auto predictor = [&](std::size_t block) {
        const std::int16_t first = m_firsts.Of(block)[static_cast<std::ptrdiff_t>(chunk.firstMcu) - 1];
        return encoder.m_coding[block < 2 ? 1 : 0].quantizer.Quantize(first, 0);
    };
    SizeCount count;
    count.predictors = {predictor(m_firsts.BlocksPerMcu() - 1), predictor(0), predictor(1)};
    count.leastBits = &m_leastBits[chunk.firstMcu];
    CountChunk(encoder.FastCodings(), m_grid, chunk.mcus, m_coefficients, count);
    m_countedBytes[chunk.index] = count.bytes;
}

std::size_t BoundedEncoding::SumOfBounds(const Chunk& chunk) const {
    const std::uint16_t* const first = &m_leastBytes[chunk.firstMcu];
    return std::accumulate(first, first + chunk.mcus, std::size_t{0});
}

}  // namespace lumato::jpeg
