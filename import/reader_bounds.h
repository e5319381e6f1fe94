// What a reader may take for a picture. A header may claim anything: what decoding costs must stand in some
// proportion to the file.
//
// No state; callable from any thread.
#pragma once

#include <chrono>
#include <cstdint>

#include "base/error.h"
#include "reader/messages.h"

namespace lumato::picture {

struct ReaderBounds {
    std::int64_t memory = 0;  // bytes beyond those of one that waits
    std::chrono::milliseconds processor{0};
    std::int64_t usual = 0;  // bytes that such pictures take in fact
};

// Until it is known what is in the file.
[[nodiscard]] ReaderBounds BoundsForHeader(std::int64_t fileSize);

// `shrink`: how many times smaller it may come, at the most. Errors: TooLarge.
[[nodiscard]] Result<ReaderBounds> BoundsFor(const reader::Found& found, std::int64_t fileSize, int shrink);

}  // namespace lumato::picture
