// What a download would cost, in blocks and in seconds: for a dry run, and before people press Download.
//
// Used by the thread that owns the store.
#pragma once

#include <cstdint>

#include "base/error.h"

namespace lumato::store {

struct DownloadCost {
    int blocks = 0;          // that are erased and programmed; the table's block is written twice
    std::int64_t bytes = 0;  // that are programmed
    double seconds = 0;      // that a frame takes for it, as virtual frames take them at their pace of 1
};

// Of the download that the list asks for. Errors: what would make it fail.
[[nodiscard]] Result<DownloadCost> CostOfDownload();

}  // namespace lumato::store
