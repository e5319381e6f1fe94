#include "jpeg/mcu_painter.h"

#include <algorithm>

#include "jpeg/decoder.h"

namespace lumato::jpeg {
namespace {

std::uint8_t ClampToByte(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

// Colour conversion of ITU-T T.871 in 10 fractional bits.
inline void PutPixel(int luma, int cb, int cr, std::uint8_t* bgr) {
    const int scaledLuma = 1024 * luma;
    cb -= 128;
    cr -= 128;
    bgr[0] = ClampToByte((scaledLuma + 1815 * cb + 512) >> 10);
    bgr[1] = ClampToByte((scaledLuma - 352 * cb - 731 * cr + 512) >> 10);
    bgr[2] = ClampToByte((scaledLuma + 1436 * cr + 512) >> 10);
}

template <bool Wide>
void PaintRow(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr, int columns,
              std::uint8_t* pixels) {
    for (int column = 0; column < columns; ++column) {
        const int chroma = Wide ? column >> 1 : column;
        PutPixel(luma[column], cb[chroma], cr[chroma], pixels + column * 3);
    }
}

}  // namespace

void PaintMcu(const McuSamples& samples, const McuGrid& grid, int mcuX, int mcuY, DecodedPicture& picture) {
    const int left = mcuX * grid.mcuWidth;
    const int top = mcuY * grid.mcuHeight;
    const int columns = std::min(grid.mcuWidth, picture.stride - left);
    const int rows = std::min(grid.mcuHeight, picture.height - top);
    const auto rowBytes = static_cast<std::size_t>(picture.stride) * 3;
    std::uint8_t* pixels =
        picture.pixels.data() + static_cast<std::size_t>(top) * rowBytes + static_cast<std::size_t>(left) * 3;
    for (int row = 0; row < rows; ++row, pixels += rowBytes) {
        const int chromaStart = 8 * (grid.tall ? row >> 1 : row);
        const auto paintRow = grid.wide ? PaintRow<true> : PaintRow<false>;
        paintRow(samples.luma.data() + row * McuSamples::kLumaStride, samples.cb.data() + chromaStart,
                 samples.cr.data() + chromaStart, columns, pixels);
    }
}

}  // namespace lumato::jpeg
