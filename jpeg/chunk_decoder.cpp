#include "jpeg/chunk_decoder.h"

#include <algorithm>
#include <cstring>

#include "jpeg/decode_loops.h"
#include "jpeg/decoder.h"

namespace lumato::jpeg {
namespace {

class ChunkDecoder {
  public:
    ChunkDecoder(const DecodeLoops& loops, const ParsedStream& parsed, DecodedPicture& picture)
        : m_loops(loops),
          m_tables(parsed, loops.group),
          m_grid(parsed.grid),
          m_picture(picture),
          m_position{BitReader(parsed.coded)} {}

    // Decodes a chunk of `wanted` MCUs; returns how many of them the data hold.
    int Decode(int chunk, int mcuY, int wanted) {
        Clear(wanted);
        const int read = m_loops.read(m_tables, m_grid, wanted, m_position, m_blocks);
        Transform(read);
        m_loops.paint(m_samples, m_grid, AreaOf(chunk, mcuY, read));
        return read;
    }

  private:
    void Clear(int mcus) {
        const std::size_t group = m_loops.group;
        const std::size_t blocks = (static_cast<std::size_t>(mcus) + group - 1) / group * group;
        const std::size_t bytes = blocks * 64 * sizeof *m_blocks.cb;
        const std::size_t lumaBytes = m_grid.wide ? 2 * bytes : bytes;
        std::memset(m_blocks.cb, 0, bytes);
        std::memset(m_blocks.cr, 0, bytes);
        std::memset(m_blocks.luma[0], 0, lumaBytes);
        if (m_grid.tall)
            std::memset(m_blocks.luma[1], 0, lumaBytes);
    }

    void Transform(int mcus) {
        const auto blocks = static_cast<std::size_t>(mcus);
        const std::size_t lumaBlocks = m_grid.wide ? 2 * blocks : blocks;
        m_loops.transform(m_blocks.cb, blocks, m_samples.cb);
        m_loops.transform(m_blocks.cr, blocks, m_samples.cr);
        m_loops.transform(m_blocks.luma[0], lumaBlocks, m_samples.luma);
        if (m_grid.tall)
            m_loops.transform(m_blocks.luma[1], lumaBlocks, m_samples.luma + 8 * kChunkColumns);
    }

    [[nodiscard]] ChunkArea AreaOf(int chunk, int mcuY, int mcus) const {
        const int left = chunk * static_cast<int>(kChunkColumns);
        const int top = mcuY * m_grid.mcuHeight;
        const auto rowBytes = static_cast<std::size_t>(m_picture.stride) * 3;
        return {m_picture.pixels.data() + static_cast<std::size_t>(top) * rowBytes +
                    static_cast<std::size_t>(left) * 3,
                rowBytes, static_cast<std::size_t>(std::min(mcus * m_grid.mcuWidth, m_picture.stride - left)),
                static_cast<std::size_t>(std::min(m_grid.mcuHeight, m_picture.height - top))};
    }

    const DecodeLoops& m_loops;
    const StreamTables m_tables;
    const McuGrid& m_grid;
    DecodedPicture& m_picture;
    DecodingPosition m_position;
    ChunkCoefficients m_blocks;
    ChunkSamples m_samples;
};

}  // namespace

std::size_t DecodeChunks(const ParsedStream& parsed, DecodedPicture& picture) {
    const McuGrid& grid = parsed.grid;
    ChunkDecoder decoder(ChosenDecodeLoops(), parsed, picture);
    std::size_t decoded = 0;
    for (int mcuY = 0; mcuY < grid.mcusDown; ++mcuY) {
        for (int chunk = 0; chunk < ChunksAcross(grid); ++chunk) {
            const int wanted = McusIn(grid, chunk);
            const int read = decoder.Decode(chunk, mcuY, wanted);
            decoded += static_cast<std::size_t>(read);
            if (read < wanted)
                return decoded;
        }
    }
    return decoded;
}

}  // namespace lumato::jpeg
