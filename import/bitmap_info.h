// An imported picture.
//
// Plain data: one thread at a time while it changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "base/error.h"
#include "base/file.h"
#include "base/phrase.h"

namespace lumato::picture {

class ColourConverter;

// The eight orientations of Exif (CIPA DC-008, tag 274). 1 is upright; the names say what was done to the
// stored picture to make the shown one.
enum class Orientation {
    Upright = 1,
    MirroredAcross = 2,
    HalfTurn = 3,
    MirroredDown = 4,
    Transposed = 5,
    QuarterTurnRight = 6,
    Transversed = 7,
    QuarterTurnLeft = 8,
};

// How an import leaves the pixels.
enum class Held {
    AsShown,   // upright, in sRGB
    AsStored,  // in the file's order and colours: whoever draws turns and converts what is shown, which is
               // less
};

// How far held pixels reach beyond the picture at each edge, in held pixels: reduced sizes are rounded
// up.
struct Overhang {
    double left = 0, top = 0, right = 0, bottom = 0;
};

// One imported picture and its pixels: 4 bytes per pixel (one ignored, red, green, blue), top row first
// unless the import was asked to flip the rows.
//
// `width` and `height` are the picture's own, after its orientation. The pixels may be held smaller (see
// ScaleNeeded), then heldWidth x heldHeight is what the buffer has, covering the same picture.
struct BitmapInfo {
    std::uint32_t width = 0;
    std::int32_t height = 0;
    std::uint32_t bitsPerComponent = 8;
    std::uint32_t bitsPerPixel = 32;
    std::uint32_t bytesPerRow = 0;  // heldWidth * 4; rows carry no padding
    std::uint32_t dataSize = 0;     // bytesPerRow * heldHeight
    std::uint32_t alphaInfo = 6;    // the first byte of each pixel is ignored
    std::vector<std::uint8_t> pixels;
    std::int32_t heldWidth = 0;
    std::int32_t heldHeight = 0;
    Overhang overhang{};
    // What drawing has still to do, of a picture that is held as it is stored.
    Orientation orientation = Orientation::Upright;
    std::shared_ptr<const ColourConverter> colours{};  // none: they are sRGB
    // What people should know of how the file was read; empty: all is as it was stored.
    Phrase note{};
};

// How many an import may keep busy: all of them when it is the only one.
enum class Processors { One, All };

// The largest scale at which poses will draw a picture of this own size (1 is pixel for pixel). The importer
// holds at least twice that many pixels in each direction, and at most the picture's own.
using ScaleNeeded = std::function<double(int width, int height)>;

}  // namespace lumato::picture
