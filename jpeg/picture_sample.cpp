#include "jpeg/picture_sample.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "jpeg/bitmap_header.h"

namespace lumato::jpeg {
namespace {

constexpr int kTilesPerChunk = 4;
constexpr int kWidth = static_cast<int>(kChunkColumns);
constexpr int kTileWidth = kWidth / kTilesPerChunk;
constexpr int kEnoughTiles = 32;
constexpr int kLargestSpacing = 32;

struct Corner {
    int x;
    int y;
};

// Where tiles lie, in pixels from the picture's beginning: the bottom left.
std::vector<Corner> Tiles(const SourcePicture& source, int tileHeight, PictureSample::Which which) {
    const int across = source.width / kTileWidth;
    const int down = source.height / tileHeight;
    const int spacing = std::clamp(across * down / kEnoughTiles, 2, kLargestSpacing);
    const int begin = which == PictureSample::Which::First ? 0 : spacing / 2;
    std::vector<Corner> tiles;
    for (int y = 0; y < down; ++y) {
        for (int x = 0; x < across; ++x) {
            if ((x + 3 * y) % spacing == begin)
                tiles.push_back({x * kTileWidth, y * tileHeight});
        }
    }
    return tiles;
}

}  // namespace

PictureSample::PictureSample(const SourcePicture& source, int mode, Which which)
    : m_pictureMcus(GridOf(source.width, source.height, mode).McuCount()), m_grid(GridOf(kWidth, 1, mode)) {
    const std::vector<Corner> tiles = Tiles(source, m_grid.mcuHeight, which);
    m_chunks = std::make_unique_for_overwrite<ChunkCoefficients[]>(tiles.size() / kTilesPerChunk);
    std::array<std::uint8_t, 16 * kChunkColumns * 3> pixels;  // a chunk's tiles side by side
    for (std::size_t tile = 0; tile < tiles.size(); ++tile) {
        for (int row = 0; row < m_grid.mcuHeight; ++row) {
            const std::uint8_t* const from =
                source.pixels + static_cast<std::size_t>(tiles[tile].y + row) * BitmapStride(source.width) +
                static_cast<std::size_t>(tiles[tile].x) * 3;
            const std::size_t column = tile % kTilesPerChunk * kTileWidth;
            std::memcpy(&pixels[(static_cast<std::size_t>(row) * kChunkColumns + column) * 3], from,
                        kTileWidth * 3);
        }
        if (tile % kTilesPerChunk == kTilesPerChunk - 1)
            TransformChunk({pixels.data(), kWidth, m_grid.mcuHeight}, m_grid, 0, 0, m_chunks[m_count++]);
    }
}

double PictureSample::MeasureWith(const std::array<const FastCoding*, 2>& codings) const {
    SizeCount count;
    count.tileMcus = static_cast<std::size_t>(m_grid.mcusAcross / kTilesPerChunk);
    for (std::size_t chunk = 0; chunk < m_count; ++chunk)
        CountChunk(codings, m_grid, m_grid.mcusAcross, m_chunks[chunk], count);
    const auto mcus = static_cast<double>(m_count) * m_grid.mcusAcross;
    return static_cast<double>(count.bytes) * static_cast<double>(m_pictureMcus) / mcus;
}

}  // namespace lumato::jpeg
