// What a frame must hold, and its user see, after all that was done: the plainest reference there is, lists
// of picture bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "base/file.h"

namespace lumato::lives {

using Bytes = std::vector<std::uint8_t>;
using Pictures = std::vector<Bytes>;

inline constexpr std::size_t kTable = 0x10000;

// Takes each of `wanted` out of `pictures`, once. False when one is not there.
bool TakeAll(Pictures& pictures, const Pictures& wanted);
void Append(Pictures& pictures, const Pictures& more);
// What the table on a flash lists, read without the program's help; nothing without a whole table.
Pictures OnFlash(const Bytes& flash);
// What the journals can give back.
Pictures InJournals(const Path& stateFolder);

struct Reference {
    Pictures stored;   // what the frame's table lists
    Pictures waiting;  // added and not downloaded: they come back behind the stored ones
    Pictures perhaps;  // of a batch: they may have been added before the frame was gone
    // Since the last download failed, all those come back, but which of them wait is open;
    bool broken = false;
    bool anyOrder = false;  // their order, too, when that download was itself to mend a broken-off one;
    Pictures deleted;       // and those that were deleted and never left the frame may come back.

    // Whether a frame that comes online may show this.
    [[nodiscard]] bool Explains(const Pictures& seen) const;
    // It did show this, `inFrame` of them as the frame's own.
    void TakeOver(const Pictures& seen, std::size_t inFrame);
    // One of those that are seen is deleted: one that only waits is gone for good, one in the frame is there
    // until a download.
    void Forget(const Pictures& seen, std::size_t index, std::size_t inFrame);
    void AfterDownload(const Pictures& onFlash);
    void AfterFailedDownload(const Pictures& seen);
};

}  // namespace lumato::lives
