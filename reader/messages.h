// What a reader and the program that started it say to each other: one message a packet, numbers
// little-endian.
//
// The program takes whatever a reader says as if a stranger had written it, for one may have taken the reader
// over: what comes out of Parse() keeps the ranges that are given here, and nothing else.
//
//     reader    Ready, once
//     program   Job, with the file's descriptor
//     reader    Found
//     program   Go; or Leave, and nothing more of this picture is said
//     reader    Coming
//     program   Keep
//     reader    Rows, Rows ...; the program: Taken for each
//     reader    End, at any point after the Job; a Line at any time
//
// No state; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/bytes.h"
#include "reader/reasons.h"

namespace lumato::reader {

inline constexpr char kProgram[] = "lumato-reader";
inline constexpr std::uint32_t kVersion = 3;

// What a reader is started with, beside standard input, output and error.
inline constexpr int kSocket = 3;
inline constexpr int kMemory = 4;

// The memory that both see has two halves, in which rows come by turns; a profile comes in the first. No row
// is longer.
inline constexpr std::size_t kHalf = 3'000'000;
inline constexpr std::size_t kMemorySize = 2 * kHalf;
// Rows are handed over when so many bytes of them are there: half of it stays in a processor's cache.
inline constexpr std::size_t kUsualBytes = 1 << 19;
inline constexpr std::size_t kMostMessage = 512;
inline constexpr std::size_t kMostText = 200;

[[nodiscard]] constexpr std::int64_t RowsPerHalf(std::int64_t width) {
    const auto rows = static_cast<std::int64_t>(kUsualBytes) / (width * 3);
    return rows < 1 ? 1 : rows;
}

// --------------------------------------------------------------------------------- from the program

// Read the picture behind the descriptor that comes with this.
struct Job {
    std::int64_t fileSize = 0;
    std::uint8_t threads = 1;
};
// Go on with what was found; the rows may come so many times smaller, and in the colours of the profile.
struct Go {
    std::int32_t mostShrink = 1;
    bool profileTaken = false;
};
struct Leave {};
// Of what is coming squares of so many pixels a side, above 0, are handed over as one (BoxReducer).
struct Keep {
    std::int32_t divisor = 1;
};
// The older half with rows was taken, and may be written again.
struct Taken {};
using ToReader = std::variant<Job, Go, Leave, Keep, Taken>;

// ---------------------------------------------------------------------------------- from the reader

// What the kernel has none of, a bit each.
enum Lacking : std::uint8_t { kNoFilter = 1, kNoRules = 2 };
struct Ready {
    std::uint32_t version = kVersion;
    std::uint8_t lacking = 0;
};

// Whole: PNG or TIFF, of which all rows, or many, are held before the first can be told.
enum class Format : std::uint8_t { Png, Whole, WebP, Tiff, Gif, Heif, Avif, JpegXl, Raw };
inline constexpr int kFormats = 9;
// Sizes as stored, above 0 or not; the Exif orientation; bytes of each pixel as the format's library holds
// them.
struct Found {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::uint8_t orientation = 1;
    Format format = Format::Png;
    std::uint8_t pixelBytes = 3;     // 1 to 255
    std::uint32_t profileBytes = 0;  // at most kHalf
};
// The size in which it is decoded; sides are above 0. Each pixel is a square of so many of the stored ones a
// side, at the far edges of what is left; 0: the whole is the picture exactly.
struct Coming {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t divisor = 0;
};
// So many rows are in the next half, above 0: red, green, blue.
struct Rows {
    std::int32_t count = 0;
};
enum class Outcome : std::uint8_t { Done, Unsupported, Damaged, TooLarge, Stopped };
// The picture's end. The value is printable.
struct End {
    Outcome outcome = Outcome::Done;
    Reason reason = Reason::None;
    std::string value{};
};
// A line for the diagnostics, printable.
struct Line {
    std::string text;
};
// In place of Found and the rest, but for End: the picture is a JPEG file that lies in this one, and is the
// program's to read. Inside of no file in particular; the orientation is as Exif's.
struct Preview {
    std::int64_t offset = 0;
    std::int64_t length = 0;
    std::uint8_t orientation = 1;
};
using FromReader = std::variant<Ready, Found, Coming, Rows, End, Line, Preview>;

using Packet = std::vector<std::uint8_t>;
[[nodiscard]] Packet Pack(const ToReader& message);
[[nodiscard]] Packet Pack(const FromReader& message);
// None for what is no message.
[[nodiscard]] std::optional<ToReader> ParseToReader(ByteSpan packet);
[[nodiscard]] std::optional<FromReader> ParseFromReader(ByteSpan packet);

}  // namespace lumato::reader
