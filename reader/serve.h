// A reader's life: it loads what it needs, closes its doors, and reads picture after picture until the
// program that started it is gone. On the main thread, which is the one that reads.
#pragma once

#include "reader/read_picture.h"

namespace lumato::reader {

// Never returns while the program wants more. The process's exit status.
[[nodiscard]] int Serve(const Decoder& decoder);

}  // namespace lumato::reader
