#include "import/bmp_header.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "import/messages.h"

namespace lumato::picture {
namespace {

constexpr std::uint32_t kCoreInfoSize = 12;    // OS/2 1.x: 16-bit sides, palette entries of 3 bytes
constexpr std::uint32_t kMaskedInfoSize = 52;  // from here on the masks are part of the header
constexpr std::size_t kMasksAt = kBmpFileHeaderSize + 40;

enum Compression : std::uint32_t {
    kRgb = 0,
    kRle8 = 1,
    kRle4 = 2,
    kBitFields = 3,
    kAlphaBitFields = 6,
};

// What the info header says, before it is believed.
struct RawInfo {
    std::uint32_t infoSize = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    int bits = 0;
    std::uint32_t compression = kRgb;
    std::uint32_t coloursUsed = 0;
};

Error CutOffInHeader() {
    return {ErrorKind::Damaged, Phrase("CUT_OFF_IN_HEADER", "cut off: the file ends in its header")};
}

std::int64_t SignedLe32(ByteSpan bytes) {
    return static_cast<std::int32_t>(GetLe32(bytes));
}

RawInfo ParseInfo(ByteSpan info) {
    RawInfo raw;
    raw.infoSize = GetLe32(info);
    if (raw.infoSize == kCoreInfoSize) {
        raw.width = GetLe16(info.subspan(4));
        raw.height = GetLe16(info.subspan(6));
        raw.bits = GetLe16(info.subspan(10));
        return raw;
    }
    raw.width = SignedLe32(info.subspan(4));
    raw.height = SignedLe32(info.subspan(8));
    raw.bits = GetLe16(info.subspan(14));
    // The short OS/2 header stops anywhere from here on; what it lacks is 0.
    if (raw.infoSize >= 20)
        raw.compression = GetLe32(info.subspan(16));
    if (raw.infoSize >= 36)
        raw.coloursUsed = GetLe32(info.subspan(32));
    return raw;
}

bool IsRunLength(const RawInfo& raw) {
    return raw.compression == kRle8 || raw.compression == kRle4;
}

bool HasMasks(const RawInfo& raw) {
    return raw.compression == kBitFields || raw.compression == kAlphaBitFields;
}

Result<void> CheckCoding(const RawInfo& raw) {
    constexpr int kDepths[] = {1, 2, 4, 8, 16, 24, 32};
    if (std::find(std::begin(kDepths), std::end(kDepths), raw.bits) == std::end(kDepths))
        return Fail(
            ErrorKind::Unsupported,
            Phrase("BITMAP_BITS", "a bitmap of {0} bits per pixel, which is not supported", raw.bits));
    // OS/2 2.x uses 3 and 4 for codings of its own, which Windows' headers use for masks and JPEG.
    const bool os2 = raw.infoSize == 64 && raw.compression >= kBitFields;
    const bool known = raw.compression == kRgb || (raw.compression == kRle8 && raw.bits == 8) ||
                       (raw.compression == kRle4 && raw.bits == 4) ||
                       (HasMasks(raw) && (raw.bits == 16 || raw.bits == 32));
    if (os2 || !known)
        return Fail(ErrorKind::Unsupported,
                    Phrase("BITMAP_CODING",
                           "a bitmap of coding {0} at {1} bits per pixel, which is not "
                           "supported",
                           raw.compression, raw.bits));
    if (IsRunLength(raw) && raw.height < 0)
        return Fail(ErrorKind::Damaged,
                    Phrase(kBroken, Phrase("BITMAP_TOP_FIRST",
                                           "a run-length coded bitmap cannot be stored top row first")));
    return {};
}

std::array<std::uint32_t, 3> DefaultMasks(int bits) {
    if (bits == 16)
        return {0x7C00, 0x03E0, 0x001F};
    return {0xFF0000, 0x00FF00, 0x0000FF};
}

void TakePalette(ByteSpan entries, std::size_t entrySize, BmpHeader& header) {
    for (std::size_t i = 0; i < 256 && (i + 1) * entrySize <= entries.size(); ++i) {
        const ByteSpan entry = entries.subspan(i * entrySize);
        header.palette[i] = {entry[2], entry[1], entry[0]};
    }
}

// The bytes of the palette, which ends at the pixels when these come early.
std::int64_t PaletteBytes(const RawInfo& raw, std::int64_t entrySize, std::int64_t room) {
    if (raw.bits > 8)
        return 0;
    const std::int64_t most = std::int64_t{1} << raw.bits;
    const std::int64_t entries = raw.coloursUsed == 0 ? most : std::min<std::int64_t>(most, raw.coloursUsed);
    return room > 0 ? std::min(entries * entrySize, room) : entries * entrySize;
}

Result<Size> CheckRawSize(const RawInfo& raw) {
    // Run lengths can skip, so that a few bytes may stand for any number of pixels.
    constexpr std::int64_t kMaxSkippedPixels = 256'000'000;
    return CheckedSize(raw.width, raw.height < 0 ? -raw.height : raw.height,
                       IsRunLength(raw) ? kMaxSkippedPixels : kMaxPixels);
}

Result<RawInfo> ReadInfo(ByteSpan bytes) {
    if (bytes.size() < kBmpFileHeaderSize + kCoreInfoSize)
        return tl::unexpected(CutOffInHeader());
    const std::uint32_t infoSize = GetLe32(bytes.subspan(kBmpFileHeaderSize));
    if (!IsBmpInfoSize(infoSize))
        return Fail(ErrorKind::Unsupported, Phrase("BITMAP_HEADER", "a bitmap with an unknown header"));
    if (bytes.size() < kBmpFileHeaderSize + infoSize)
        return tl::unexpected(CutOffInHeader());
    RawInfo raw = ParseInfo(bytes.subspan(kBmpFileHeaderSize, infoSize));
    LUMATO_TRY_VOID(CheckCoding(raw));
    return raw;
}

BmpCoding CodingOf(const RawInfo& raw) {
    if (raw.compression == kRle8)
        return BmpCoding::RunLength8;
    return raw.compression == kRle4 ? BmpCoding::RunLength4 : BmpCoding::Plain;
}

// Behind the header of 40 bytes or within a larger one: the masks stand at the same place.
Result<void> TakeMasks(ByteSpan bytes, const RawInfo& raw, BmpHeader& header) {
    header.masks = DefaultMasks(raw.bits);
    if (!HasMasks(raw))
        return {};
    if (bytes.size() < kMasksAt + 12)
        return tl::unexpected(CutOffInHeader());
    for (std::size_t i = 0; i < 3; ++i)
        header.masks[i] = GetLe32(bytes.subspan(kMasksAt + i * 4));
    return {};
}

std::size_t PaletteAt(const RawInfo& raw) {
    if (HasMasks(raw) && raw.infoSize < kMaskedInfoSize)
        return kMasksAt + (raw.compression == kAlphaBitFields ? 16 : 12);
    return kBmpFileHeaderSize + raw.infoSize;
}

void TakePaletteAndOffset(ByteSpan bytes, const RawInfo& raw, BmpHeader& header) {
    const std::size_t at = PaletteAt(raw);
    const auto begin = static_cast<std::int64_t>(at);
    const std::int64_t stated = GetLe32(bytes.subspan(10));
    const std::size_t entrySize = raw.infoSize == kCoreInfoSize ? 3 : 4;
    const std::int64_t size = PaletteBytes(raw, static_cast<std::int64_t>(entrySize), stated - begin);
    const ByteSpan rest = bytes.subspan(std::min(bytes.size(), at));
    TakePalette(rest.first(std::min(rest.size(), static_cast<std::size_t>(size))), entrySize, header);
    // Some writers leave the offset 0, or one that lies inside the header.
    header.pixelOffset = stated >= begin ? stated : begin + size;
}

}  // namespace

bool IsBmpInfoSize(std::uint32_t size) {
    return size == kCoreInfoSize || (size >= 16 && size <= 64) || size == 108 || size == 124;
}

Result<BmpHeader> ReadBmpHeader(const PictureFile& file) {
    // File header, the largest info header, masks and palette lie within this.
    std::array<std::uint8_t, kBmpFileHeaderSize + 124 + 16 + 1024> buffer{};
    LUMATO_TRY(const std::size_t got, file.ReadAt(0, buffer));
    const ByteSpan bytes(buffer.data(), got);
    LUMATO_TRY(const RawInfo raw, ReadInfo(bytes));

    BmpHeader header;
    LUMATO_TRY(header.size, CheckRawSize(raw));
    header.topDown = raw.height < 0;
    header.bitsPerPixel = raw.bits;
    header.coding = CodingOf(raw);
    LUMATO_TRY_VOID(TakeMasks(bytes, raw, header));
    TakePaletteAndOffset(bytes, raw, header);
    return header;
}

}  // namespace lumato::picture
