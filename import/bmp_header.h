// The header of a bitmap file, whichever of its editions. Pure parsing, no state.
#pragma once

#include <array>
#include <cstdint>

#include "import/held_size.h"
#include "import/picture_file.h"

namespace lumato::picture {

inline constexpr std::size_t kBmpFileHeaderSize = 14;

enum class BmpCoding { Plain, RunLength8, RunLength4 };

using RgbColour = std::array<std::uint8_t, 3>;

struct BmpHeader {
    Size size;
    bool topDown = false;
    int bitsPerPixel = 0;
    BmpCoding coding = BmpCoding::Plain;
    std::array<std::uint32_t, 3> masks{};  // red, green, blue; with 16 and 32 bits
    std::int64_t pixelOffset = 0;
    std::array<RgbColour, 256> palette{};  // with 8 bits and fewer; what the file lacks is black

    // Bytes of a plain row with its padding to 4 bytes.
    [[nodiscard]] std::int64_t Stride() const {
        return (std::int64_t{size.width} * bitsPerPixel + 31) / 32 * 4;
    }
};

// Sizes of the info header that are understood: 12 and 16 to 64 are OS/2's, 40 and up Windows'.
[[nodiscard]] bool IsBmpInfoSize(std::uint32_t size);

// Errors: Damaged, TooLarge, Unsupported, Unreadable.
[[nodiscard]] Result<BmpHeader> ReadBmpHeader(const PictureFile& file);

}  // namespace lumato::picture
