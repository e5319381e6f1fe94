#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/encode_vectors.cpp"
#include "jpeg/encode_vectors.h"

#include <algorithm>
#include <cstring>

#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "jpeg/bitmap_header.h"
#if HWY_TARGET != HWY_SCALAR
#include "jpeg/vector_code.inl.h"
#include "jpeg/vector_forward.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// One row of a chunk's pixels, as far as it must be read: straight from the picture, or, where vectors would
// read beyond the row, from a copy whose last pixel is repeated.
class PixelRow {
  public:
    PixelRow(const SourcePicture& source, int left) : m_source(source), m_left(left) {}

    HWY_INLINE const std::uint8_t* At(int row, std::size_t columns) {
        const int within = std::min(row, m_source.height - 1);
        const std::uint8_t* const pixels =
            m_source.pixels +
            static_cast<std::size_t>(m_source.height - 1 - within) * BitmapStride(m_source.width) +
            static_cast<std::size_t>(m_left) * 3;
        const auto left = static_cast<std::size_t>(m_source.width - m_left);
        // The next chunk's rows are short and far apart: the processor does not foresee them by itself.
        for (std::size_t ahead = 0; ahead < kChunkColumns * 3; ahead += 64)
            hwy::Prefetch(pixels + kChunkColumns * 3 + ahead);
        return left >= columns ? pixels : Repeated(pixels, left, columns);
    }

  private:
    const std::uint8_t* Repeated(const std::uint8_t* pixels, std::size_t from, std::size_t columns) {
        std::memcpy(m_copy, pixels, from * 3);
        for (std::size_t i = from * 3; i < columns * 3; ++i)
            m_copy[i] = m_copy[i - 3];
        return m_copy;
    }

    const SourcePicture& m_source;
    int m_left;
    std::uint8_t m_copy[kChunkColumns * 3];
};

template <bool Wide>
HWY_INLINE void ConvertChunk(const SourcePicture& source, const McuGrid& grid, int left, int top,
                             std::size_t columns, ChunkSamples& samples) {
    PixelRow pixels(source, left);
    const int chromaRowStep = grid.tall ? 2 : 1;
    for (int row = 0; row < grid.mcuHeight; ++row) {
        const bool isSampled = row % chromaRowStep == 0;
        const std::size_t chromaStart = static_cast<std::size_t>(row / chromaRowStep) * kChunkColumns;
        ConvertRow<Wide>(pixels.At(top + row, columns), columns,
                         samples.luma + static_cast<std::size_t>(row) * kChunkColumns,
                         isSampled ? samples.cb + chromaStart : nullptr,
                         isSampled ? samples.cr + chromaStart : nullptr);
    }
}

void TransformChunkHere(const SourcePicture& source, const McuGrid& grid, int chunk, int mcuY,
                        ChunkCoefficients& coefficients) {
    const int firstMcu = chunk * McusPerChunk(grid);
    const auto mcus = static_cast<std::size_t>(std::min(McusPerChunk(grid), grid.mcusAcross - firstMcu));
    const std::size_t lanes = hn::Lanes(ByteTag());
    const std::size_t columns = (mcus * static_cast<std::size_t>(grid.mcuWidth) + lanes - 1) / lanes * lanes;
    ChunkSamples samples;
    const auto convert = grid.wide ? ConvertChunk<true> : ConvertChunk<false>;
    convert(source, grid, firstMcu * grid.mcuWidth, mcuY * grid.mcuHeight, columns, samples);
    ForwardBlocks(samples.cb, mcus, coefficients.cb);
    ForwardBlocks(samples.cr, mcus, coefficients.cr);
    const std::size_t lumaBlocks = mcus * (grid.wide ? 2 : 1);
    ForwardBlocks(samples.luma, lumaBlocks, coefficients.luma[0]);
    if (grid.tall)
        ForwardBlocks(samples.luma + 8 * kChunkColumns, lumaBlocks, coefficients.luma[1]);
}

std::size_t BlocksPerGroupHere() {
    return kGroup;
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#else
// A processor without vectors: UsesVectors() says so, and nobody comes here.
namespace lumato::jpeg::HWY_NAMESPACE {
void TransformChunkHere(const SourcePicture&, const McuGrid&, int, int, ChunkCoefficients&) {}
void CodeChunkHere(const std::array<const FastCoding*, 2>&, const McuGrid&, int, const ChunkCoefficients&,
                   CodingPosition&) {}
void QuantizeBlocksHere(const WordQuantizer&, std::size_t, std::int16_t*, std::uint64_t*) {}
std::size_t BlocksPerGroupHere() {
    return 1;
}
}  // namespace lumato::jpeg::HWY_NAMESPACE
#endif

#if HWY_ONCE
namespace lumato::jpeg {

HWY_EXPORT(TransformChunkHere);
HWY_EXPORT(CodeChunkHere);
HWY_EXPORT(QuantizeBlocksHere);
HWY_EXPORT(BlocksPerGroupHere);

WordQuantizer::WordQuantizer(const QuantTable& table) {
    for (std::size_t k = 0; k < 64; ++k) {
        const std::uint32_t divisor = DivisorOf(table[k], aanscales[k]);
        const auto s = static_cast<int>(std::bit_width(divisor - 1)) + 1;
        half4[k] = static_cast<std::uint16_t>(divisor / 2 * 4);
        reciprocal[k] = static_cast<std::uint16_t>((std::uint32_t{1} << (14 + s)) / divisor + 1);
        shift[k] = static_cast<std::uint16_t>(1U << (16 - s));
        largest[k] = LargestMagnitude(k);
    }
}

void TransformChunk(const SourcePicture& source, const McuGrid& grid, int chunk, int mcuY,
                    ChunkCoefficients& coefficients) {
    HWY_DYNAMIC_DISPATCH(TransformChunkHere)(source, grid, chunk, mcuY, coefficients);
}

void CodeChunk(const std::array<const FastCoding*, 2>& codings, const McuGrid& grid, int mcus,
               const ChunkCoefficients& coefficients, CodingPosition& position) {
    HWY_DYNAMIC_DISPATCH(CodeChunkHere)(codings, grid, mcus, coefficients, position);
}

void QuantizeBlocks(const WordQuantizer& quantizer, std::size_t blocks, std::int16_t* coefficients,
                    std::uint64_t* masks) {
    HWY_DYNAMIC_DISPATCH(QuantizeBlocksHere)(quantizer, blocks, coefficients, masks);
}

std::size_t BlocksPerGroup() {
    return HWY_DYNAMIC_DISPATCH(BlocksPerGroupHere)();
}

}  // namespace lumato::jpeg
#endif
