// The streams of one composed picture, in memory: what CRv512Encoder makes of its bitmap file.
//
// One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/bytes.h"

namespace lumato::picture {

class PixelEncoder {
  public:
    // `pixels`: as RenderLcdBitmap() makes them. For the connected frame, by the thread that owns the store:
    explicit PixelEncoder(ByteSpan pixels);
    // For any LCD and sampling value of a frame; on any thread.
    PixelEncoder(ByteSpan pixels, int width, int height, int yValue);

    // Valid until the next call; nothing where it cannot be encoded.
    [[nodiscard]] std::optional<ByteSpan> At(int quality);
    // At the first of the qualities `quality`, `quality` - `step`, ... above 0 whose stream has at most
    // `budget` bytes, else at the last one; sets `quality` to it.
    [[nodiscard]] std::optional<ByteSpan> Within(int& quality, int step, int budget);

  private:
    int m_width, m_height, m_mode;
    std::vector<std::uint8_t> m_rows;
    std::unique_ptr<std::uint8_t[]> m_stream;
};

}  // namespace lumato::picture
