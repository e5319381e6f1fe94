// The decoder of frame picture streams.
//
// Whatever our encoder writes is read: all four sampling codes, with and without tables and MCU table, any
// size that fits 16 bits. No state outside the objects; separate ones may run on different threads.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"
#include "base/file.h"

namespace lumato::jpeg {

// A decoded picture: pixels of 3 bytes (blue, green, red), top row first.
struct DecodedPicture {
    int width = 0;
    int height = 0;
    int stride = 0;                    // pixels per row: the width rounded up to a multiple of 8
    std::vector<std::uint8_t> pixels;  // stride * height * 3 bytes
};

// Decodes a whole stream. The picture must be of the expected size; 0 accepts any.
// Errors: Damaged (header, lengths, selectors or tables that cannot be, or fewer bytes left than MCUs),
// Refused (another size), TooLarge (more than 2^28 pixels, or no memory). Coded data that end early give the
// picture as far as they go; the rest is black.
[[nodiscard]] Result<DecodedPicture> DecodeStream(ByteSpan stream, int expectedWidth, int expectedHeight);

// The same into a picture that may have been used before: who decodes many pictures of a size saves the
// memory's coming and going. On failure the picture's content is open.
[[nodiscard]] Result<void> DecodeStream(ByteSpan stream, int expectedWidth, int expectedHeight,
                                        DecodedPicture& picture);

class JPGEncode {  // the name is historical: it decodes
  public:
    // `links`: whether a link under the destination's name is followed or replaced (base/file.h).
    explicit JPGEncode(Links links = Links::Replace) : m_links(links) {}

    // Decodes the stream file `source` and writes the bitmap file `destination`. True when it was written.
    bool DecodeMyPicture(const char* source, const char* destination, int expectedWidth, int expectedHeight);

    // The same from a stream in memory. An object that decodes many pictures keeps its buffers.
    bool DecodeMyStream(ByteSpan stream, const char* destination, int expectedWidth, int expectedHeight);

    // Why the last call answered false.
    [[nodiscard]] const Error& LastError() const { return m_lastError; }
    // Size of the picture that the last call wrote, in pixels.
    [[nodiscard]] int LastWidth() const { return m_lastWidth; }
    [[nodiscard]] int LastHeight() const { return m_lastHeight; }

  private:
    Result<void> DecodeFile(const char* source, const char* destination, int expectedWidth,
                            int expectedHeight);
    Result<void> Save(const char* destination);

    Links m_links;
    int m_lastWidth = 0;
    int m_lastHeight = 0;
    Error m_lastError;
    DecodedPicture m_picture;
    std::vector<std::uint8_t> m_file;
};

}  // namespace lumato::jpeg
