#include "picture/pixel_block_reader.h"

namespace lumato::picture {

const std::uint8_t* PixelBlockReader::CopyAtEdge(int column, int row) {
    m_copy.resize(Width() * Height() * kChannels);
    std::uint8_t* out = m_copy.data();
    for (int r = 0; r < m_filter.down.Width(); ++r)
        for (int c = 0; c < m_filter.across.Width(); ++c, out += kChannels)
            std::copy_n(m_source.At(std::clamp(column + c, 0, m_source.width - 1),
                                    std::clamp(row + r, 0, m_source.height - 1)),
                        kChannels, out);
    return m_copy.data();
}

}  // namespace lumato::picture
