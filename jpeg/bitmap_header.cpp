#include "jpeg/bitmap_header.h"

#include <algorithm>

namespace lumato::jpeg {

void PutBitmapHeader(MutableByteSpan header, int width, int height, std::uint32_t imageSize) {
    constexpr std::uint32_t kInfoHeaderSize = 40;
    const std::size_t pixelBytes = BitmapStride(width) * static_cast<std::size_t>(height);
    std::fill_n(header.begin(), kBitmapHeaderSize, std::uint8_t{0});
    header[0] = 'B';
    header[1] = 'M';
    PutLe32(header.subspan(2), static_cast<std::uint32_t>(kBitmapHeaderSize + pixelBytes));
    PutLe32(header.subspan(10), kBitmapHeaderSize);
    PutLe32(header.subspan(14), kInfoHeaderSize);
    PutLe32(header.subspan(18), static_cast<std::uint32_t>(width));
    PutLe32(header.subspan(22), static_cast<std::uint32_t>(height));
    PutLe16(header.subspan(26), 1);   // planes
    PutLe16(header.subspan(28), 24);  // bits per pixel
    PutLe32(header.subspan(34), imageSize);
}

}  // namespace lumato::jpeg
