// The pixels around a position in a picture, with the weights that make one colour of them.
//
// One thread at a time.
#pragma once

#include <algorithm>
#include <vector>

#include "picture/axis_taps.h"
#include "picture/phase_table.h"
#include "picture/pixel_view.h"

namespace lumato::picture {

// The filter for both directions. Across, each pair of weights is there for all four channels of its pixels.
struct BlockFilter {
    BlockFilter(const PixelView& source, double pixelsPerShownAcross, double pixelsPerShownDown)
        : across(pixelsPerShownAcross, source.width, kTapGroup, kChannels),
          down(pixelsPerShownDown, source.height, 2, 1) {}

    PhaseTable across, down;
};

struct PixelBlock {
    const std::uint8_t* pixels;
    std::size_t stride;          // bytes from row to row
    const std::int16_t* across;  // Width() weights, each pair four times
    const std::int16_t* down;    // Height() weights
};

class PixelBlockReader {
  public:
    // Borrows both.
    PixelBlockReader(const PixelView& source, const BlockFilter& filter)
        : m_source(source),
          m_filter(filter),
          m_endU(std::int64_t{source.width} << kPositionBits),
          m_endV(std::int64_t{source.height} << kPositionBits),
          m_lastColumn(source.width - filter.across.Width()),
          m_lastRow(source.height - filter.down.Width()) {}

    [[nodiscard]] std::size_t Width() const { return static_cast<std::size_t>(m_filter.across.Width()); }
    [[nodiscard]] std::size_t Height() const { return static_cast<std::size_t>(m_filter.down.Width()); }

    // The block around a position, which is brought into the picture first; past the edges the picture goes
    // on with its outermost pixels. Valid until the next call.
    [[nodiscard]] PixelBlock At(std::int64_t u, std::int64_t v) {
        const PhaseTable::Place across = m_filter.across.At(std::clamp<std::int64_t>(u, 0, m_endU));
        const PhaseTable::Place down = m_filter.down.At(std::clamp<std::int64_t>(v, 0, m_endV));
        const bool inside =
            across.first >= 0 && across.first <= m_lastColumn && down.first >= 0 && down.first <= m_lastRow;
        if (inside)
            return {m_source.At(across.first, down.first), m_source.Stride(), across.weights, down.weights};
        return {CopyAtEdge(across.first, down.first), Width() * kChannels, across.weights, down.weights};
    }

  private:
    const std::uint8_t* CopyAtEdge(int column, int row);

    const PixelView& m_source;
    const BlockFilter& m_filter;
    std::int64_t m_endU, m_endV;
    int m_lastColumn, m_lastRow;  // where a block may start
    std::vector<std::uint8_t> m_copy;
};

}  // namespace lumato::picture
