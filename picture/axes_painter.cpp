#include "picture/axes_painter.h"

#include <algorithm>
#include <utility>

#include "picture/resample_kernels.h"

namespace lumato::picture {

AxesPainter::AxesPainter(const Surface& surface, AxisTaps across, AxisTaps down, bool turned,
                         const ColourConverter* colours)
    : m_surface(surface),
      m_across(std::move(across)),
      m_down(std::move(down)),
      m_turned(turned),
      m_converter(colours) {
    const auto [firstColumn, endColumn] = Needed();
    m_firstByte = static_cast<std::size_t>(firstColumn) * kChannels;
    m_bytes = static_cast<std::size_t>(endColumn) * kChannels - m_firstByte;
    m_rows.resize(m_bytes + kTapGroup * kChannels, 0);
    m_colours.resize(static_cast<std::size_t>(m_across.count) * kChannels);

    const auto isPartial = [](float coverage) { return coverage < 1; };
    const auto fullBegin = std::ranges::find_if_not(m_across.coverage, isPartial);
    m_fullBegin = static_cast<std::size_t>(fullBegin - m_across.coverage.begin());
    m_fullEnd = static_cast<std::size_t>(std::find_if(fullBegin, m_across.coverage.end(), isPartial) -
                                         m_across.coverage.begin());
}

void AxesPainter::PaintLine(int line, const std::uint8_t* row, std::size_t stride) {
    CombineRows(row + m_firstByte, stride, m_down.Weights(line), m_bytes, m_rows.data());
    CombineColumns(m_rows.data(), m_across, m_colours.data());
    if (m_converter != nullptr)
        m_converter->Convert(m_colours.data(), m_colours.data(), m_across.coverage.size());

    const int position = m_down.begin + line;
    std::uint8_t* const pixels =
        m_turned ? m_surface.At(position, m_across.begin) : m_surface.At(m_across.begin, position);
    const std::size_t step = m_turned ? m_surface.bytesPerRow : kChannels;
    const float lineCoverage = m_down.coverage[static_cast<std::size_t>(line)];
    const auto blend = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            BlendPixel(pixels + i * step, m_surface.order, &m_colours[i * kChannels + 1],
                       m_across.coverage[i] * lineCoverage);
    };
    if (m_turned || lineCoverage < 1) {
        blend(0, m_across.coverage.size());
        return;
    }
    blend(0, m_fullBegin);
    LayPixels(pixels + m_fullBegin * kChannels, m_surface.order, m_colours.data() + m_fullBegin * kChannels,
              m_fullEnd - m_fullBegin);
    blend(m_fullEnd, m_across.coverage.size());
}

}  // namespace lumato::picture
