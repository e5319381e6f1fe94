#include "picture/bitmap_file.h"

#include <algorithm>
#include <new>
#include <string>

#include "base/printable.h"

namespace lumato::picture {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::size_t PixelBytes(int width, int height) {
    return BitmapStride(width) * static_cast<std::size_t>(height);
}

Result<void> CheckHeader(ByteSpan file, int width, int height) {
    if (file.size() < kBitmapHeaderSize || file[0] != 'B' || file[1] != 'M')
        return Fail(ErrorKind::Unsupported, "not a bitmap file");
    const auto fileWidth = static_cast<std::int32_t>(GetLe32(file.subspan(18)));
    const auto fileHeight = static_cast<std::int32_t>(GetLe32(file.subspan(22)));
    if (fileWidth != width || fileHeight != height)
        return Fail(ErrorKind::Refused, Phrase("", "the bitmap has {0} x {1} pixels, not {2} x {3}",
                                               fileWidth, fileHeight, width, height));
    return {};
}

std::size_t PackedStride(int width) {
    return (static_cast<std::size_t>(width) * 2 + 3) / 4 * 4;
}

// Expands rows of 16-bit pixels: 5 bits each for blue (lowest), green and red.
Bytes Expand16(ByteSpan packed, int width, int height) {
    Bytes pixels(PixelBytes(width, height));
    for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row) {
        ByteSpan from = packed.subspan(row * PackedStride(width));
        std::uint8_t* bgr = &pixels[row * BitmapStride(width)];
        for (int x = 0; x < width; ++x, from = from.subspan(2), bgr += 3) {
            const std::uint16_t pixel = GetLe16(from);
            bgr[0] = static_cast<std::uint8_t>((pixel & 31) << 3);
            bgr[1] = static_cast<std::uint8_t>((pixel >> 5 & 31) << 3);
            bgr[2] = static_cast<std::uint8_t>((pixel >> 10 & 31) << 3);
        }
    }
    return pixels;
}

Result<Bytes> ReadPixels(const Path& path, int width, int height) {
    const std::size_t expected = PixelBytes(width, height);
    // Other programs write longer headers and notes behind the pixels, but not more than that.
    constexpr std::uintmax_t kMostBesidePixels = 1 << 20;
    LUMATO_TRY(Bytes file, ReadFile(path, kMostBesidePixels + expected));
    const Result<void> sound = CheckHeader(file, width, height);
    if (!sound)
        return tl::unexpected(Context(path.string(), sound.error()));
    constexpr std::size_t kBitsPerPixel = 28;
    const bool isPacked = file[kBitsPerPixel] == 16;
    // The pixel array starts behind the header, whatever that says. What the file lacks is black.
    file.erase(file.begin(), file.begin() + kBitmapHeaderSize);
    file.resize(isPacked ? PackedStride(width) * static_cast<std::size_t>(height) : expected);
    if (isPacked)
        return Expand16(file, width, height);
    return file;
}

Bytes BitmapFile(ByteSpan pixels, int width, int height) {
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 3;
    const std::size_t stride = BitmapStride(width);
    Bytes file(kBitmapHeaderSize + PixelBytes(width, height));
    jpeg::PutBitmapHeader(file, width, height, 0);
    auto out = file.begin() + kBitmapHeaderSize;
    for (int row = 0; row < height; ++row, out += static_cast<std::ptrdiff_t>(stride))
        std::copy_n(pixels.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(row) * rowBytes),
                    rowBytes, out);
    return file;
}

Error NoMemory(const Path& path) {
    return Error{ErrorKind::TooLarge, About(Printable(path.native()), kNoMemory)};
}

}  // namespace

Result<void> SaveBmpFile(ByteSpan pixels, int width, int height, const Path& path, Links links) {
    if (width < 1 || height < 1 || !jpeg::FitsBitmapFile(width, height))
        return Fail(ErrorKind::TooLarge,
                    About(Printable(path.native()), "no bitmap file can have this size"));
    try {
        return WriteFile(path, BitmapFile(pixels, width, height), links);
    } catch (const std::bad_alloc&) {
        return tl::unexpected(NoMemory(path));
    }
}

Result<Bytes> LoadPicFromDir(const Path& path, int width, int height) {
    if (width < 1 || height < 1)
        return Fail(ErrorKind::Refused, About(Printable(path.native()), "a picture has at least one pixel"));
    try {
        return ReadPixels(path, width, height);
    } catch (const std::bad_alloc&) {
        return tl::unexpected(NoMemory(path));
    }
}

}  // namespace lumato::picture
