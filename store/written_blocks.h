// What a download has written, so that all of it can be read back and compared byte for byte: the frame's own
// sum of 16 bits cannot tell an erased block from a zeroed one, nor see what a later command has done to an
// earlier block.
//
// Used by the thread that owns the frame.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"

namespace lumato::store {

class WrittenBlocks {
  public:
    // These bytes were written there; what was noted of the same block before counts no more.
    void Note(std::int32_t address, ByteSpan bytes);
    // Reads all that was noted since the last check. A block that differs is written again, as often as a
    // failed write is. Errors: Unreadable; Unwritable when one still differs.
    [[nodiscard]] Result<void> Check();

  private:
    std::map<std::int32_t, std::vector<std::uint8_t>> m_blocks;
};

}  // namespace lumato::store
