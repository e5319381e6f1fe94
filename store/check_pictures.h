// Reads the frame's table, and every picture that it lists, back from the flash, and says whether it is what
// it is known to be. The frame is only read.
//
// Used by the thread that owns the frame.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/sha256.h"
#include "store/check_table.h"

namespace lumato::store {

enum class PictureHealth {
    Good,     // its bytes are the known ones
    Damaged,  // they are not, or no picture
    Unknown,  // a picture, but nothing says that it is the one that was written
    Mended,   // they were not, and are again
};

struct CheckedPicture {
    int position = 0;  // in the frame's table, from 1
    std::string name;  // in the list; empty: it is not listed
    PictureHealth health = PictureHealth::Unknown;
    std::int32_t address = 0, length = 0;  // on the frame
    std::optional<Digest> wanted;          // what its bytes are known to be
    Phrase reason;                         // empty for a good one
    bool found = false;                    // its bytes, for mending it
    bool readUneven = false;               // two reads of it differed: the cable or the frame's link is weak
};

struct CheckReport {
    CheckedTable table;
    std::vector<CheckedPicture> pictures;
    bool stopped = false;  // the rest was not looked at, because that was asked for
};

// By the task that owns the store; it may be asked to stop. Errors: the frame has no valid table, or cannot
// be read.
[[nodiscard]] Result<CheckReport> CheckPictures();

}  // namespace lumato::store
