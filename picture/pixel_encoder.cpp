#include "picture/pixel_encoder.h"

#include <algorithm>

#include "jpeg/encoder.h"
#include "picture/bitmap_file.h"
#include "picture/rv512_encoder.h"
#include "store/store.h"

namespace lumato::picture {
namespace {

// The encoder takes rows of whole 4 bytes.
std::vector<std::uint8_t> WithPaddedRows(ByteSpan pixels, int width, int height) {
    const auto row = static_cast<std::size_t>(width) * 3;
    const std::size_t stride = BitmapStride(width);
    std::vector<std::uint8_t> padded(stride * static_cast<std::size_t>(height));
    for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y)
        std::copy_n(pixels.data() + y * row, row, padded.data() + y * stride);
    return padded;
}

}  // namespace

PixelEncoder::PixelEncoder(ByteSpan pixels)
    : PixelEncoder(pixels, static_cast<int>(store::Store().gmyLcdWidth),
                   static_cast<int>(store::Store().gmyLcdHeight), store::Store().G_YValue) {}

PixelEncoder::PixelEncoder(ByteSpan pixels, int width, int height, int yValue)
    : m_width(width),
      m_height(height),
      m_mode(ModeOf(yValue)),
      m_rows(WithPaddedRows(pixels, m_width, m_height)),
      m_stream(std::make_unique_for_overwrite<std::uint8_t[]>(
          jpeg::MaximumStreamSize(m_width, m_height, m_mode))) {}

std::optional<ByteSpan> PixelEncoder::At(int quality) {
    int size = 0;
    if (!jpeg::CVaskJpegEncoder(quality).CompressImage(m_rows.data(), m_stream.get(), m_width, m_height, size,
                                                       m_mode))
        return std::nullopt;
    return ByteSpan(m_stream.get(), static_cast<std::size_t>(size));
}

std::optional<ByteSpan> PixelEncoder::Within(int& quality, int step, int budget) {
    const auto size =
        jpeg::EncodeWithin({m_rows.data(), m_width, m_height}, m_stream.get(), m_mode, quality, step, budget);
    if (!size)
        return std::nullopt;
    return ByteSpan(m_stream.get(), static_cast<std::size_t>(*size));
}

}  // namespace lumato::picture
