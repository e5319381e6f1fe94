// Gives damaged pictures of the frame their known bytes back. Only the blocks that have wrong bytes are
// written, by a download like any other: journal first, table invalid meanwhile.
//
// Used by the thread that owns the store.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "store/check_pictures.h"

namespace lumato::store {

// Finds or makes a picture's stream; what does not have the hash is not taken.
using StreamSource =
    std::function<std::optional<std::vector<std::uint8_t>>(const Digest& hash, std::int32_t length)>;

// Whether it is damaged, its bytes are known, and the frame is known to be the one that they were written to.
[[nodiscard]] bool MayBeMended(const CheckReport& report, const CheckedPicture& picture);

// Looks for the streams of the damaged pictures: in the local files, in the journals, and then at `source`.
// The next download writes what was found. How many that is, a damaged table counted, too; the other pictures
// get to know why in the report. Errors: nothing may be mended now: a download is in arrears, the list was
// changed, pictures share their bytes.
[[nodiscard]] Result<int> PrepareMending(CheckReport& report, const StreamSource& source = {});
// After that download.
void NoteMended(CheckReport& report);

}  // namespace lumato::store
