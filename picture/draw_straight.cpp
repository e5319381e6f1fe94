#include <algorithm>
#include <vector>

#include "picture/picture_placement.h"
#include "picture/resample_kernels.h"

namespace lumato::picture {
namespace {

// One line of the picture, resampled in its height, in fixed point; only the columns that are needed.
class CombinedLine {
  public:
    CombinedLine(const PixelView& picture, const AxisTaps& across)
        : m_picture(picture),
          m_firstColumn(across.FirstHeld()),
          m_words(static_cast<std::size_t>(across.EndHeld() - across.FirstHeld()) * kChannels),
          m_line(m_words + kTapGroup * kChannels, 0) {}

    const std::int16_t* Take(const AxisTaps& down, int index) {
        const int firstRow = down.first[static_cast<std::size_t>(index)];
        CombineRows(m_picture.At(m_firstColumn, firstRow), m_picture.Stride(), down.Weights(index), m_words,
                    m_line.data());
        return m_line.data();
    }

  private:
    const PixelView& m_picture;
    int m_firstColumn;
    std::size_t m_words;
    std::vector<std::int16_t> m_line;
};

}  // namespace

void DrawAxes(const Surface& surface, const PixelView& picture, const AxisTaps& across, const AxisTaps& down,
              bool turned) {
    if (across.count == 0 || down.count == 0)
        return;
    CombinedLine line(picture, across);
    const auto isPartial = [](float coverage) { return coverage < 1; };
    const std::size_t fullBegin = static_cast<std::size_t>(
        std::ranges::find_if_not(across.coverage, isPartial) - across.coverage.begin());
    const std::size_t fullEnd = static_cast<std::size_t>(
        std::find_if(across.coverage.begin() + static_cast<std::ptrdiff_t>(fullBegin), across.coverage.end(),
                     isPartial) -
        across.coverage.begin());
    std::vector<std::uint8_t> colours(static_cast<std::size_t>(across.count) * kChannels);
    const std::size_t step = turned ? surface.bytesPerRow : kChannels;
    for (int i = 0; i < down.count; ++i) {
        CombineColumns(line.Take(down, i), across, colours.data());
        const float lineCoverage = down.coverage[static_cast<std::size_t>(i)];
        const int position = down.begin + i;
        std::uint8_t* pixel =
            turned ? surface.At(position, across.begin) : surface.At(across.begin, position);
        const auto blend = [&](std::size_t begin, std::size_t end) {
            for (std::size_t k = begin; k < end; ++k)
                BlendPixel(pixel + k * step, surface.order, &colours[k * kChannels + 1],
                           across.coverage[k] * lineCoverage);
        };
        if (turned || lineCoverage < 1) {
            blend(0, across.coverage.size());
            continue;
        }
        blend(0, fullBegin);
        LayPixels(pixel + fullBegin * kChannels, surface.order, &colours[fullBegin * kChannels],
                  fullEnd - fullBegin);
        blend(fullEnd, across.coverage.size());
    }
}

void DrawStraight(const Surface& surface, const PixelView& picture, const PicturePlacement& placement) {
    const bool turned = placement.columnPerU == 0 && placement.rowPerV == 0;
    const AxisPlacement columns{placement.centerColumn, turned ? placement.columnPerV : placement.columnPerU,
                                turned ? picture.height : picture.width, surface.width};
    const AxisPlacement rows{placement.centerRow, turned ? placement.rowPerU : placement.rowPerV,
                             turned ? picture.width : picture.height, surface.height};
    const AxisTaps across = PlaceAxis(turned ? rows : columns);
    const AxisTaps down = PlaceAxis(turned ? columns : rows);
    DrawAxes(surface, picture, across, down, turned);
}

}  // namespace lumato::picture
