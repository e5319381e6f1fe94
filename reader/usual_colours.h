// Pictures as libvips decodes them into sRGB of three bytes. On the thread that reads.
#pragma once

#include "reader/vips_image.h"

namespace lumato::reader {

// Leaves no transparency: what is behind shows black. Inks with transparency become sRGB for that, as by
// ToSrgb().
[[nodiscard]] bool Flatten(Image& image, bool& isProfileUsable);

// Whether the file has a colour profile that libvips says nothing of, because it makes no sense.
[[nodiscard]] bool HidesProfile(VipsImage* image, int descriptor);

// By the embedded profile, if there is one. One that is broken, or of another kind than the picture, counts
// as none, and `isProfileUsable` becomes false. Inks without one are ideal ones.
[[nodiscard]] bool ToSrgb(Image& image, bool& isProfileUsable);

// From any number of bands.
[[nodiscard]] bool ToThreeBytes(Image& image);

}  // namespace lumato::reader
