#include "jpeg/decoder.h"

#include <algorithm>
#include <new>
#include <string>

#include "base/printable.h"
#include "jpeg/bitmap_header.h"
#include "jpeg/chunk_decoder.h"
#include "jpeg/stream_header.h"

namespace lumato::jpeg {
namespace {

// Far more than any display has. A few megabytes of flash can claim sixteen times as many, and decoding those
// would bring the computer down.
constexpr std::size_t kMostPixels = std::size_t{1} << 28;

// Gives the picture the stream's size; its pixels are those of whatever it was before.
Result<void> Resize(DecodedPicture& picture, const dpf_header& header) {
    picture.width = header.width;
    picture.height = header.height;
    picture.stride = (header.width + 7) / 8 * 8;
    const std::size_t count =
        static_cast<std::size_t>(picture.stride) * static_cast<std::size_t>(picture.height);
    if (count > kMostPixels)
        return Fail(ErrorKind::TooLarge,
                    Phrase("PICTURE_TOO_LARGE", "a picture of {0} x {1} pixels is too large", picture.width,
                           picture.height));
    try {
        picture.pixels.resize(count * 3);
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, kNoMemory);
    }
    return {};
}

// Makes everything black behind the first `painted` MCUs.
void Blacken(DecodedPicture& picture, const McuGrid& grid, std::size_t painted) {
    const auto across = static_cast<std::size_t>(grid.mcusAcross);
    const auto columns = painted % across * static_cast<std::size_t>(grid.mcuWidth);
    const auto top = painted / across * static_cast<std::size_t>(grid.mcuHeight);
    const auto height = static_cast<std::size_t>(picture.height);
    const auto stride = static_cast<std::size_t>(picture.stride);
    for (std::size_t row = top; row < height; ++row) {
        const bool isHalfPainted = row < top + static_cast<std::size_t>(grid.mcuHeight);
        const std::size_t from = isHalfPainted ? std::min(columns, stride) : 0;
        std::fill_n(picture.pixels.begin() + static_cast<std::ptrdiff_t>((row * stride + from) * 3),
                    (stride - from) * 3, std::uint8_t{0});
    }
}

// The bitmap file of a decoded picture. Rows are padded with the pixels right of the picture's width, which
// the picture has because its stride is a multiple of 8.
Result<void> BmpSave(const DecodedPicture& picture, std::vector<std::uint8_t>& file, const Path& path,
                     Links links) {
    if (!FitsBitmapFile(picture.width, picture.height))
        return Fail(ErrorKind::TooLarge,
                    Phrase("BEYOND_BITMAP", "the picture is too large for a bitmap file"));
    const std::size_t rowBytes = BitmapStride(picture.width);
    const std::size_t pixelBytes = rowBytes * static_cast<std::size_t>(picture.height);
    try {
        file.resize(kBitmapHeaderSize + pixelBytes);
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge,
                    Phrase("NO_MEMORY_FOR_BITMAP", "not enough memory for the bitmap file"));
    }
    PutBitmapHeader(file, picture.width, picture.height, static_cast<std::uint32_t>(pixelBytes));
    auto out = file.begin() + kBitmapHeaderSize;
    for (int row = picture.height - 1; row >= 0; --row) {
        const std::size_t start =
            static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.stride) * 3;
        out = std::copy_n(picture.pixels.begin() + static_cast<std::ptrdiff_t>(start), rowBytes, out);
    }
    return WriteFile(path, file, links);
}

}  // namespace

Result<void> DecodeStream(ByteSpan stream, int expectedWidth, int expectedHeight, DecodedPicture& picture) {
    LUMATO_TRY(const ParsedStream parsed, ParseStream(stream, expectedWidth, expectedHeight));
    LUMATO_TRY_VOID(Resize(picture, parsed.header));
    const std::size_t decoded = DecodeChunks(parsed, picture);
    if (decoded < parsed.grid.McuCount())
        Blacken(picture, parsed.grid, decoded);
    return {};
}

Result<DecodedPicture> DecodeStream(ByteSpan stream, int expectedWidth, int expectedHeight) {
    DecodedPicture picture;
    LUMATO_TRY_VOID(DecodeStream(stream, expectedWidth, expectedHeight, picture));
    return picture;
}

Result<void> JPGEncode::DecodeFile(const char* source, const char* destination, int expectedWidth,
                                   int expectedHeight) {
    LUMATO_TRY(const std::vector<std::uint8_t> stream, ReadFile(source));
    if (const auto decoded = DecodeStream(stream, expectedWidth, expectedHeight, m_picture); !decoded)
        return tl::unexpected(Context(Printable(source), decoded.error()));
    return Save(destination);
}

bool JPGEncode::DecodeMyStream(ByteSpan stream, const char* destination, int expectedWidth,
                               int expectedHeight) {
    Result<void> result = DecodeStream(stream, expectedWidth, expectedHeight, m_picture);
    if (result)
        result = Save(destination);
    if (!result)
        m_lastError = result.error();
    return result.has_value();
}

Result<void> JPGEncode::Save(const char* destination) {
    m_lastWidth = m_picture.width;
    m_lastHeight = m_picture.height;
    return BmpSave(m_picture, m_file, destination, m_links);
}

bool JPGEncode::DecodeMyPicture(const char* source, const char* destination, int expectedWidth,
                                int expectedHeight) {
    Result<void> result = DecodeFile(source, destination, expectedWidth, expectedHeight);
    if (!result)
        m_lastError = result.error();
    return result.has_value();
}

}  // namespace lumato::jpeg
