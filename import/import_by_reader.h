// Every format that is neither JPEG nor bitmap: decoded by a reader, a process of its own.
//
// Callable from any thread.
#pragma once

#include "import/picture_builder.h"
#include "import/picture_file.h"
#include "import/reader_pool.h"

namespace lumato::picture {

// Errors: Damaged (also where the reader broke down over it), TooLarge, Unsupported (also when there is no
// reader), Gone when it was stopped.
[[nodiscard]] Result<void> ImportByReader(const PictureFile& file, PictureBuilder& builder,
                                          Processors processors, ReaderPool& pool = Readers());

}  // namespace lumato::picture
