// The streams of one composed picture, in memory: what CRv512Encoder makes of its bitmap file.
//
// Used by the thread that owns the store, whose LCD size and sampling count.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/bytes.h"

namespace lumato::picture {

class PixelEncoder {
  public:
    // `pixels`: as RenderLcdBitmap() makes them.
    explicit PixelEncoder(ByteSpan pixels);

    // Valid until the next call; nothing where it cannot be encoded.
    [[nodiscard]] std::optional<ByteSpan> At(int quality);

  private:
    int m_width, m_height, m_mode;
    std::vector<std::uint8_t> m_rows;
    std::unique_ptr<std::uint8_t[]> m_stream;
};

}  // namespace lumato::picture
