// Every format that is neither JPEG nor bitmap, through the picture-reader module.
//
// The module is loaded at the first use and stays. Callable from any thread.
#pragma once

#include <vector>

#include "import/picture_builder.h"
#include "import/picture_file.h"
#include "import/vips_module.h"

namespace lumato::picture {

// The module from the first of these folders that has it. Errors: Unsupported, with the reason.
[[nodiscard]] Result<const VipsModule*> LoadVipsModule(const std::vector<Path>& folders);

// Errors: Damaged, TooLarge, Unsupported (also when the module is missing).
[[nodiscard]] Result<void> ImportWithVips(const PictureFile& file, PictureBuilder& builder);

[[nodiscard]] Result<std::vector<std::uint8_t>> EncodePng(int width, int height, ByteSpan pixels);

}  // namespace lumato::picture
