// Reads the block of the frame's picture table back, and says whether it is the table that the store knows,
// and one that can be right. The frame is only read.
//
// Used by the thread that owns the frame.
#pragma once

#include <string>

#include "base/error.h"

namespace lumato::store {

struct CheckedTable {
    bool good = true;
    bool mended = false;      // it was not, and is again
    bool known = false;       // what it should be is known and sound: writing it again mends it
    bool readUneven = false;  // two reads of it differed: the cable or the frame's link is weak
    Phrase reason;            // empty for a good one
};

// By the task that owns the store. Errors: the frame cannot be read.
[[nodiscard]] Result<CheckedTable> CheckTable();

}  // namespace lumato::store
