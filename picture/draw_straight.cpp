#include <vector>

#include "picture/picture_placement.h"
#include "picture/resample_kernels.h"

namespace lumato::picture {
namespace {

// One line of the picture, resampled in its height, in fixed point; only the columns that are needed. A pixel
// of nothing at its end lets pairs of pixels be read.
class CombinedLine {
  public:
    CombinedLine(const BitmapInfo& picture, const AxisTaps& across)
        : m_picture(picture),
          m_firstColumn(static_cast<std::size_t>(across.FirstHeld())),
          m_bytes(static_cast<std::size_t>(across.EndHeld() - across.FirstHeld()) * kChannels),
          m_line(m_bytes + kChannels, 0) {}

    void Take(const AxisTaps& down, int index) {
        const std::size_t stride = static_cast<std::size_t>(m_picture.heldWidth) * kChannels;
        const auto firstRow = static_cast<std::size_t>(down.first[static_cast<std::size_t>(index)]);
        const std::uint8_t* source = m_picture.pixels.data() + firstRow * stride + m_firstColumn * kChannels;
        CombineRows(source, stride, down.Weights(index, false), m_bytes, m_line.data());
    }

    [[nodiscard]] const std::int16_t* At(int heldColumn) const {
        return m_line.data() + (static_cast<std::size_t>(heldColumn) - m_firstColumn) * kChannels;
    }

  private:
    const BitmapInfo& m_picture;
    std::size_t m_firstColumn;
    std::size_t m_bytes;
    std::vector<std::int16_t> m_line;
};

void DrawLine(const Surface& surface, const CombinedLine& line, const AxisTaps& across, int position,
              float lineCoverage, bool turned) {
    constexpr int kBits = kWeightBits + kExtraBits;
    for (int i = 0; i < across.count; ++i) {
        const auto index = static_cast<std::size_t>(i);
        std::int32_t sum[kChannels];
        CombinePixels(line.At(across.first[index]), across.Weights(i, true), sum);
        const std::uint8_t rgb[3] = {RoundToByte(sum[1], kBits), RoundToByte(sum[2], kBits),
                                     RoundToByte(sum[3], kBits)};
        const int along = across.begin + i;
        std::uint8_t* pixel = turned ? surface.At(position, along) : surface.At(along, position);
        BlendPixel(pixel, surface.order, rgb, across.coverage[index] * lineCoverage);
    }
}

}  // namespace

void DrawAxes(const Surface& surface, const BitmapInfo& picture, const AxisTaps& across, const AxisTaps& down,
              bool turned) {
    if (across.count == 0 || down.count == 0)
        return;
    CombinedLine line(picture, across);
    for (int i = 0; i < down.count; ++i) {
        line.Take(down, i);
        DrawLine(surface, line, across, down.begin + i, down.coverage[static_cast<std::size_t>(i)], turned);
    }
}

void DrawStraight(const Surface& surface, const BitmapInfo& picture, const PicturePlacement& placement) {
    const bool turned = placement.columnPerU == 0 && placement.rowPerV == 0;
    const AxisPlacement columns{placement.centerColumn, turned ? placement.columnPerV : placement.columnPerU,
                                turned ? picture.heldHeight : picture.heldWidth, surface.width};
    const AxisPlacement rows{placement.centerRow, turned ? placement.rowPerU : placement.rowPerV,
                             turned ? picture.heldWidth : picture.heldHeight, surface.height};
    const AxisTaps across = PlaceAxis(turned ? rows : columns);
    const AxisTaps down = PlaceAxis(turned ? columns : rows);
    DrawAxes(surface, picture, across, down, turned);
}

}  // namespace lumato::picture
