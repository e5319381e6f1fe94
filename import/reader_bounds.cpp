#include "import/reader_bounds.h"

#include <algorithm>
#include <array>
#include <string>

#include "import/memory_share.h"
#include "import/messages.h"

namespace lumato::picture {
namespace {

constexpr std::int64_t kMega = 1'000'000;
constexpr std::int64_t kLargestFile = kMega * kMega;  // a sparse one may say more than can be counted with

// Measured with pictures of 12 megapixels and rows of 4,000 and 40,000 pixels (docs/performance.md), and
// rounded up: for what may be asked of the system by half, since libraries ask for more than they use.
struct Cost {
    double mostPerPixel;   // bytes for a pixel of 3 bytes; deeper ones as so many more
    double usualPerPixel;  // the same, used in fact
    double perColumn;      // bytes for a pixel of a row: what is read row by row keeps some of them
    double seconds;        // of processor time, for a million pixels; ten times what was measured
    std::int64_t always;   // so many millions are read from any file: not more than kCeiling
    std::int64_t perByte;  // more pixels, of any depth, a byte of the file are a trap rather than a picture
    std::int64_t never;    // more millions are read from none
};
using enum reader::Format;
constexpr std::array<Cost, reader::kFormats> kCosts = {{
    {0, 0, 2500, 0.2, 256, 100, 1000},   // Png: costs time only
    {4.5, 3.3, 2500, 0.3, 50, 64, 256},  // Whole
    {22, 8, 100, 0.5, 12, 64, 256},      // WebP
    {0.5, 0, 2500, 0.3, 64, 30, 1000},   // Tiff: a strip may be the whole picture
    {7, 5, 100, 0.3, 36, 64, 256},       // Gif
    {14, 5.9, 100, 1.0, 18, 64, 256},    // Heif: usual is 4:2:0; in 4:4:4 a tenth more
    {20, 14, 100, 1.0, 18, 64, 256},     // Avif: in 4:4:4; in 4:2:0 two thirds
    {20, 12, 100, 1.5, 13, 64, 256},     // JpegXl
    {6, 3, 100, 0.3, 36, 64, 256},       // Raw: of its preview alone
}};

constexpr double kShrunkWebP = 5;  // usual, where not all pixels are needed
constexpr double kDeepHeif = 7.2;  // usual, of more than 8 bits or transparent

// Whatever the picture: threads, and what readers keep of the picture before.
constexpr std::int64_t kMostAround = 64 * kMega;
constexpr std::int64_t kUsualAround = 10 * kMega;
constexpr std::chrono::milliseconds kToBegin{2000};
constexpr std::int64_t kCeiling = 340 * kMega;  // asked for; used are 300 at most
constexpr std::int64_t kBytesPerByte = 100;     // beyond that, so many for each of the file
constexpr std::chrono::milliseconds kAlways{4000};
constexpr std::int64_t kBytesPerMillisecond = 50;  // beyond that, so many of the file are worth one more

// Those of the costliest kind may then be refused while they are decoded.
constexpr bool IsBelowCeiling(const Cost& cost) {
    return static_cast<double>(cost.always * kMega) * cost.usualPerPixel <= kCeiling - kMostAround;
}
static_assert(std::ranges::all_of(kCosts, IsBelowCeiling));

// Who adds a phone's photographs has two processors read them: 12.5 megapixels are what most phones write.
constexpr const Cost& kPhones = kCosts[static_cast<std::size_t>(Heif)];
static_assert(2 * (12.5 * kMega * kPhones.usualPerPixel + 5000 * kPhones.perColumn + kUsualAround) <=
              MemoryShare::kAll);

}  // namespace

ReaderBounds BoundsForHeader(std::int64_t fileSize) {
    // WebP's reader asks for room for the whole picture then, and uses it later.
    const Cost& webP = kCosts[static_cast<std::size_t>(WebP)];
    constexpr std::int64_t kAsked = 5;  // bytes for a pixel
    const std::int64_t pixels =
        std::clamp(std::min(fileSize, kLargestFile) * webP.perByte, webP.always * kMega, webP.never * kMega);
    return {kMostAround + kAsked * pixels, kToBegin, 0};
}

Result<ReaderBounds> BoundsFor(const reader::Found& found, std::int64_t fileSize, int shrink) {
    fileSize = std::min(fileSize, kLargestFile);
    const Cost& cost = kCosts[static_cast<std::size_t>(found.format)];
    const double depth = std::max(3, int{found.pixelBytes}) / 3.0;
    const double area = static_cast<double>(found.width) * static_cast<double>(found.height);
    const double pixels = depth * area;
    const double columns = depth * static_cast<double>(found.width);
    const std::int64_t limit = std::clamp(fileSize * cost.perByte, cost.always * kMega, cost.never * kMega);
    if (area > static_cast<double>(limit))
        return Fail(
            ErrorKind::TooLarge,
            Phrase("TOO_LARGE_A_FILE", "too large: {0} pixels, the limit for such a file is {1} megapixels",
                   std::to_string(found.width) + " x " + std::to_string(found.height), limit / kMega));
    // Rows can be so wide that the few that are kept are more than any picture's share.
    if (columns * cost.perColumn > kCeiling - kMostAround)
        return Fail(ErrorKind::TooLarge, kBeyondMemory);
    const auto bytes = [&](double perPixel, std::int64_t around) {
        const auto whole = static_cast<std::int64_t>(pixels * perPixel + columns * cost.perColumn);
        // The strips of a TIFF file are read as they are packed.
        const double packed = found.format == Tiff ? std::min(static_cast<double>(fileSize), pixels * 3) : 0;
        return whole + around + static_cast<std::int64_t>(packed);
    };
    const std::chrono::milliseconds byPixels(static_cast<std::int64_t>(pixels * cost.seconds / 1000));
    const std::chrono::milliseconds byFile(fileSize / kBytesPerMillisecond);
    // Wide rows on top of many pixels are more than a small file's picture may take.
    const std::int64_t most =
        std::min(bytes(cost.mostPerPixel, kMostAround), kCeiling + fileSize * kBytesPerByte);
    const double usual = found.format == WebP && shrink > 1             ? kShrunkWebP
                         : found.format == Heif && found.pixelBytes > 3 ? kDeepHeif
                                                                        : cost.usualPerPixel;
    const bool isSupported = area <= static_cast<double>(fileSize * cost.perByte);
    return ReaderBounds{most, std::min(kToBegin + byPixels, kAlways + byFile),
                        isSupported ? std::min(bytes(usual, kUsualAround), most) : most};
}

}  // namespace lumato::picture
