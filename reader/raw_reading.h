// The preview in a camera's raw file, by libraw: the picture that the camera itself has made of it.
// On the thread that reads.
#pragma once

#include "reader/read_picture.h"

namespace lumato::reader {

// Whether the file is one: most of them are TIFF files, too, whose first picture is a small one. The
// descriptor's position changes.
[[nodiscard]] bool IsRaw(int descriptor);

// Says where the preview lies, or hands it over where it is no JPEG file.
[[nodiscard]] End ReadRaw(int descriptor, const Job& job, Receiver& receiver);

}  // namespace lumato::reader
