#include "import/reader_bounds.h"

#include <algorithm>
#include <array>
#include <string>

namespace lumato::picture {
namespace {

constexpr std::int64_t kMega = 1'000'000;

// Measured (docs/performance.md), and rounded up.
struct Cost {
    double bytesPerPixel;     // of memory, with 3 bytes a pixel; deeper ones as so many more
    double bytesAcross;       // the same for each pixel of a row: what is read row by row keeps some
    double secondsPerMega;    // of processor time for a million pixels
    std::int64_t pixelsPerByte;  // more of them for each byte of the file are a trap rather than a picture
    std::int64_t most;           // pixels; more are read from no file
};
using enum reader::Format;
constexpr std::array<Cost, reader::kFormats> kCosts = {{
    {0, 4096, 0.25, 100, 1000 * kMega},  // Png: row by row
    {8, 64, 0.4, 64, 256 * kMega},       // Interlaced
    {8, 64, 0.5, 64, 256 * kMega},       // WebP
    {2, 4096, 0.4, 30, 1000 * kMega},    // Tiff: a strip may be the whole picture
    {8, 64, 0.4, 64, 256 * kMega},       // Gif
    {12, 64, 1.5, 64, 256 * kMega},      // Heif
    {20, 64, 1.5, 64, 256 * kMega},      // JpegXl
}};

// What any file may cost, of its size or smaller; larger ones are given more in proportion.
constexpr std::int64_t kAlwaysMemory = 160 * kMega;
constexpr std::chrono::milliseconds kAlwaysProcessor{4000};
constexpr std::int64_t kAround = 24 * kMega;  // what a decoder takes whatever the picture's size
constexpr std::chrono::milliseconds kToBegin{2000};

}  // namespace

Result<ReaderBounds> BoundsFor(const reader::Found& found, std::int64_t fileSize) {
    const Cost& cost = kCosts[static_cast<std::size_t>(found.format)];
    const double depth = std::max(3, int{found.pixelBytes}) / 3.0;
    const double pixels = static_cast<double>(found.width) * static_cast<double>(found.height);
    const auto memory = static_cast<std::int64_t>(
        pixels * depth * cost.bytesPerPixel + static_cast<double>(found.width) * depth * cost.bytesAcross);
    const auto supported = static_cast<double>(std::min(fileSize * cost.pixelsPerByte, cost.most));
    if (pixels * depth > supported && memory + kAround > kAlwaysMemory) {
        const double always = static_cast<double>(kAlwaysMemory - kAround) / std::max(1.0, cost.bytesPerPixel);
        const auto limit = static_cast<std::int64_t>(std::max(supported, always));
        return Fail(ErrorKind::TooLarge,
                    Phrase("TOO_LARGE_A_FILE",
                           "too large: {0} pixels, the limit for such a file is {1} megapixels",
                           std::to_string(found.width) + " x " + std::to_string(found.height), limit / kMega));
    }
    const std::chrono::milliseconds byPixels(
        static_cast<std::int64_t>(pixels * depth * cost.secondsPerMega / 1000));
    const std::chrono::milliseconds byFile = kAlwaysProcessor + std::chrono::milliseconds(fileSize / 50);
    return ReaderBounds{memory + kAround, std::min(kToBegin + byPixels, byFile)};
}

}  // namespace lumato::picture
