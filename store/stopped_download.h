// What a frame holds when its download ends between two blocks, because that was asked for: pictures that
// stay, and those of which all bytes are written.
//
// Used by the thread that owns the store.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "store/download_plan.h"

namespace lumato::store {

// Where each picture of the list lies by then; 0: it is not whole. `done`: bytes of the plan's that are
// written. Requires: G_PictureList is the plan's table.
[[nodiscard]] std::vector<std::int32_t> AddressesOfWhole(const DownloadPlan& plan, std::ptrdiff_t done);

// Leaves those in the table, one slot behind the other; its header stays.
void ListWhole(const std::vector<std::int32_t>& addresses, MutableByteSpan table);

// The frame has that table now: the list's other pictures wait.
void TakeStopped(const std::vector<std::int32_t>& addresses, ByteSpan table);

}  // namespace lumato::store
