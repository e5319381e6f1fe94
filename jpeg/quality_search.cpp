#include "jpeg/quality_search.h"

#include <algorithm>
#include <cstring>

#include "jpeg/bitmap_header.h"
#include "jpeg/chunk_coder.h"
#include "jpeg/codec_form.h"
#include "jpeg/stream_format.h"

namespace lumato::jpeg {
namespace {

constexpr std::size_t kLuminance = 0;
constexpr std::size_t kChrominance = 1;

// Sizes of streams that can be larger might not fit an int; those are left to the encoder's own check.
constexpr std::size_t kLargestSearch = std::size_t{1} << 30;

std::vector<int> QualitiesFrom(int start, int step) {
    std::vector<int> qualities{start};
    while (qualities.back() - step > 0)
        qualities.push_back(qualities.back() - step);
    return qualities;
}

std::size_t SizeBeforeMcus(const McuGrid& grid, int mode) {
    return kHeaderSize + ((mode & kOmitTables) == 0 ? kTableBlockSize : 0) +
           ((mode & kOmitMcuTable) == 0 ? grid.McuCount() * kMcuEntrySize : 0);
}

// Tiles from all over a picture, side by side as a picture of their own.
class Sample {
  public:
    Sample(const SourcePicture& source, int mode)
        : m_source(source), m_tileHeight(GridOf(source.width, source.height, mode).mcuHeight) {
        const int across = source.width / kTileWidth;
        const int down = source.height / m_tileHeight;
        const int spacing = std::clamp(across * down / kEnoughTiles, 2, 16);
        for (int y = 0; y < down; ++y) {
            for (int x = 0; x < across; ++x) {
                if ((x + 3 * y) % spacing == 0)
                    AddTile(x, y);
            }
        }
        m_grid = GridOf(kWidth, std::max(1, m_tiles / 2) * m_tileHeight, mode);
        Transform();
    }

    // Nothing of a picture that is too small for samples.
    [[nodiscard]] bool IsEmpty() const { return m_chunks.empty(); }
    [[nodiscard]] std::size_t McuCount() const { return m_grid.McuCount(); }

    // The bytes of the sample's MCUs.
    [[nodiscard]] std::size_t Count(const std::array<const FastCoding*, 2>& codings) const {
        SizeCount count;
        for (const ChunkCoefficients& chunk : m_chunks)
            CountChunk(codings, m_grid, m_grid.mcusAcross, chunk, count);
        return count.bytes;
    }

  private:
    static constexpr int kTileWidth = 64;
    static constexpr int kWidth = static_cast<int>(kChunkColumns);
    static constexpr int kEnoughTiles = 32;

    void AddTile(int x, int y) {
        const auto tileRow = static_cast<std::size_t>(m_tiles / 2);
        const auto height = static_cast<std::size_t>(m_tileHeight);
        m_pixels.resize((tileRow + 1) * height * BitmapStride(kWidth));
        const auto column = static_cast<std::size_t>(m_tiles % 2 * kTileWidth);
        for (std::size_t row = 0; row < height; ++row) {
            const std::size_t from =
                (static_cast<std::size_t>(y * m_tileHeight) + row) * BitmapStride(m_source.width) +
                static_cast<std::size_t>(x * kTileWidth) * 3;
            std::memcpy(&m_pixels[(tileRow * height + row) * BitmapStride(kWidth) + column * 3],
                        m_source.pixels + from, kTileWidth * 3);
        }
        ++m_tiles;
    }

    void Transform() {
        m_chunks = std::vector<ChunkCoefficients>(static_cast<std::size_t>(m_tiles / 2));
        const SourcePicture tiles{m_pixels.data(), kWidth, m_tiles / 2 * m_tileHeight};
        for (std::size_t row = 0; row < m_chunks.size(); ++row)
            TransformChunk(tiles, m_grid, 0, static_cast<int>(row), m_chunks[row]);
    }

    const SourcePicture& m_source;
    int m_tileHeight;
    int m_tiles = 0;
    std::vector<std::uint8_t> m_pixels;
    McuGrid m_grid;
    std::vector<ChunkCoefficients> m_chunks;
};

}  // namespace

// Fills a Count, chunk after chunk, until it is certain that the stream does not fit, and somewhat further,
// for the bounds of the higher qualities are a little lower.
class QualitySearch::Counter {
  public:
    Counter(const QualitySearch& search, std::size_t index, Count& count)
        : m_search(search), m_encoder(search.m_qualities[index]), m_count(count) {
        const McuGrid& grid = search.m_grid;
        count.leastBits.resize(grid.McuCount());
        count.firsts.resize(grid.McuCount() * static_cast<std::size_t>(2 + grid.lumaBlocks));
        m_sizes.bytes = SizeBeforeMcus(grid, search.m_mode);
        m_sizes.leastBits = count.leastBits.data();
        m_sizes.firsts = count.firsts.data();
    }

    void Add(int chunk, const ChunkCoefficients& coefficients) {
        if (m_search.Exceeds(m_sizes.bytes - m_sizes.bytes / 64))
            return;
        const int mcus = McusIn(m_search.m_grid, chunk);
        CountChunk(m_encoder.FastCodings(), m_search.m_grid, mcus, coefficients, m_sizes);
        m_count.bytes = m_sizes.bytes;
        m_count.mcus += static_cast<std::size_t>(mcus);
    }

  private:
    const QualitySearch& m_search;
    CVaskJpegEncoder m_encoder;
    Count& m_count;
    SizeCount m_sizes;
};

QualitySearch::QualitySearch(const std::uint8_t* pixels, std::uint8_t* destination, int width, int height,
                             int mode)
    : m_source{pixels, width, height}, m_destination(destination), m_mode(mode) {
    if (MaximumStreamSize(width, height, mode) != 0)
        m_grid = GridOf(width, height, mode);
}

std::optional<QualitySearch::Outcome> QualitySearch::Run(int start, int step, int budget) {
    m_qualities = QualitiesFrom(start, step);
    m_budget = budget;
    const std::size_t largest = MaximumStreamSize(m_source.width, m_source.height, m_mode);
    const bool canSearch = m_source.pixels != nullptr && m_destination != nullptr && largest != 0 &&
                           largest <= kLargestSearch && budget > 0 && start <= kLargestSide;
    return UsesVectors() && canSearch && m_qualities.size() > 1 ? RunFrom(Guess()) : RunPlainly();
}

std::optional<QualitySearch::Outcome> QualitySearch::RunPlainly() const {
    std::optional<Outcome> outcome;
    for (const int quality : m_qualities) {
        outcome = EncodeAt(quality);
        if (!outcome || outcome->fits)
            break;
    }
    return outcome;
}

std::optional<QualitySearch::Outcome> QualitySearch::EncodeAt(int quality) const {
    int size = 0;
    if (!CVaskJpegEncoder(quality).CompressImage(m_source.pixels, m_destination, m_source.width,
                                                 m_source.height, size, m_mode))
        return std::nullopt;
    return Outcome{quality, size, size <= m_budget};
}

// Upwards only to a quality that is known to fit, downwards only from one that does not: this ends.
std::optional<QualitySearch::Outcome> QualitySearch::RunFrom(std::size_t guess) const {
    for (std::size_t index = guess; index < m_qualities.size();) {
        Count above;
        const std::optional<Outcome> outcome = EncodeAndCountAbove(index, above);
        const std::size_t next = outcome ? FittingAbove(index, std::move(above)) : index + 1;
        if (next == index)
            return outcome;
        index = next;
    }
    return EncodeAt(m_qualities.back());
}

// The next one was counted; those above it take at least what its other coefficients bound.
std::size_t QualitySearch::FittingAbove(std::size_t index, Count above) const {
    for (std::size_t higher = index; higher-- > 0;) {
        if (higher + 1 < index) {
            if (Exceeds(LeastBytes(higher, above)))
                continue;
            above = CountAt(higher);
        }
        if (!Exceeds(above.bytes))
            return higher;
    }
    return index;
}

std::size_t QualitySearch::LeastBytes(std::size_t index, const Count& lower) const {
    const CVaskJpegEncoder encoder(m_qualities[index]);
    const auto bitsOf = [](const Quantizer& quantizer, const SizeCodes& sizes, int& predictor, int first) {
        const int value = quantizer.Quantize(first, 0);
        const std::uint32_t bits = sizes.First(value - predictor);
        predictor = value;
        return bits;
    };
    const Quantizer& luminance = encoder.m_coding[kLuminance].quantizer;
    const Quantizer& chrominance = encoder.m_coding[kChrominance].quantizer;
    const SizeCodes& luminanceSizes = *encoder.m_fastCoding[kLuminance].sizes;
    const SizeCodes& chrominanceSizes = *encoder.m_fastCoding[kChrominance].sizes;
    int y = 0;
    int cb = 0;
    int cr = 0;
    std::size_t bytes = SizeBeforeMcus(m_grid, m_mode);
    const std::int16_t* first = lower.firsts.data();
    for (std::size_t mcu = 0; mcu < lower.mcus; ++mcu) {
        std::uint32_t bits = lower.leastBits[mcu];
        bits += bitsOf(chrominance, chrominanceSizes, cb, *first++);
        bits += bitsOf(chrominance, chrominanceSizes, cr, *first++);
        for (int block = 0; block < m_grid.lumaBlocks; ++block)
            bits += bitsOf(luminance, luminanceSizes, y, *first++);
        bytes += (bits + 7) / 8;
    }
    return bytes;
}

std::size_t QualitySearch::Guess() const {
    const Sample sample(m_source, m_mode);
    if (sample.IsEmpty())
        return 0;
    const double scale = static_cast<double>(m_grid.McuCount()) / static_cast<double>(sample.McuCount());
    const double forMcus = m_budget - static_cast<double>(SizeBeforeMcus(m_grid, m_mode));
    const auto isTooLarge = [&](int quality) {
        const CVaskJpegEncoder encoder(quality);
        return static_cast<double>(sample.Count(encoder.FastCodings())) * scale > forMcus;
    };
    const auto first = std::partition_point(m_qualities.begin(), m_qualities.end() - 1, isTooLarge);
    return static_cast<std::size_t>(first - m_qualities.begin());
}

std::optional<QualitySearch::Outcome> QualitySearch::EncodeAndCountAbove(std::size_t index,
                                                                         Count& above) const {
    const CVaskJpegEncoder encoder(m_qualities[index]);
    std::uint8_t* const mcuTable = (m_mode & kOmitMcuTable) == 0 ? m_destination + G_TableMCUOffSet : nullptr;
    std::uint8_t* const coded =
        encoder.WriteJpegHeader(m_destination, m_source.width, m_source.height, m_mode);
    ChunkCoder coder(encoder.FastCodings(), m_grid, mcuTable, coded);
    std::optional<Counter> counter;
    if (index > 0)
        counter.emplace(*this, index - 1, above);
    ChunkCoefficients coefficients;
    for (int mcuY = 0; mcuY < m_grid.mcusDown; ++mcuY) {
        for (int chunk = 0; chunk < ChunksAcross(m_grid); ++chunk) {
            TransformChunk(m_source, m_grid, chunk, mcuY, coefficients);
            if (counter)
                counter->Add(chunk, coefficients);
            coder.Code(McusIn(m_grid, chunk), coefficients);
            if (coder.End() - m_destination > m_budget)
                return std::nullopt;
        }
    }
    return Outcome{m_qualities[index], static_cast<int>(coder.End() - m_destination), true};
}

QualitySearch::Count QualitySearch::CountAt(std::size_t index) const {
    Count count;
    Counter counter(*this, index, count);
    ChunkCoefficients coefficients;
    for (int mcuY = 0; mcuY < m_grid.mcusDown; ++mcuY) {
        for (int chunk = 0; chunk < ChunksAcross(m_grid); ++chunk) {
            TransformChunk(m_source, m_grid, chunk, mcuY, coefficients);
            counter.Add(chunk, coefficients);
        }
    }
    return count;
}

}  // namespace lumato::jpeg
