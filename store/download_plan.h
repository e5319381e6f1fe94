// What a download writes to the frame, and where: made before anything is touched. The download follows it,
// and a dry run tells what it would cost.
//
// Used by the thread that owns the store.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/error.h"
#include "store/frame_geometry.h"
#include "store/picture_list.h"

namespace lumato::store {

// A block behind the table's, written in one piece.
struct PlannedBlock {
    int address = 0;
    int length = 0;
    int fresh = 0;  // bytes of it that are of the pictures
};

struct DownloadPlan {
    bool rewriteAll = false;   // stored pictures leave their places, too
    bool fromScratch = false;  // no picture stays: what is on the frame is not needed
    int first = -1;            // position of the first picture that is written; -1: none, only the table is
    int total = 0;             // bytes of these pictures
    int start = 0;             // where they go, one behind the other
    std::array<std::uint8_t, kTableSize> tableAfter{};
    int besideTable = 0;                   // bytes of the pictures that lie in the table's block
    std::optional<PlannedBlock> boundary;  // in which stored pictures end: what stands there is read first
    std::vector<PlannedBlock> whole;       // behind it

    // Written pictures may stand anywhere in the list: those that stay have their slots already.
    [[nodiscard]] bool Writes(const FileData& record) const { return rewriteAll || record.inFrame != 1; }
    [[nodiscard]] int CountWritten(const FileDataHead& list) const;
};

// For the list as it is, of a download that broke off in the order of that one. Errors: Refused, for what
// the frame or its table cannot hold.
[[nodiscard]] Result<DownloadPlan> PlanDownload();

}  // namespace lumato::store
