// What a frame's pictures are known to be, from one connection to the next: a small file for each table that
// a download left, in the folder "known" of the state folder. Losing one costs knowledge, never a picture.
//
// Used by the thread that owns the store.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/sha256.h"
#include "store/download_plan.h"

namespace lumato::store {

struct KnownPicture {
    std::int32_t address = 0;
    std::int32_t length = 0;
    Digest hash{};
};
using KnownPictures = std::vector<KnownPicture>;

// Of the frame that is online, with this table; empty where nothing is known.
[[nodiscard]] KnownPictures LoadKnown(ByteSpan table);
[[nodiscard]] std::optional<Digest> KnownHash(const KnownPictures& known, std::int32_t address,
                                              std::int32_t length);

// What will be known once that download has left its table: what it writes from this computer's own pictures.
// What was read from the frame is no more than it was known to be before, so that damage is never taken for
// right.
[[nodiscard]] KnownPictures KnownAfter(const DownloadPlan& plan);
// For a frame with that table. A download says so before it begins: whoever finishes it after a cut knows.
void SaveKnown(ByteSpan table, const KnownPictures& known);

// For other small files there: the frame that is online and a table (empty: none) as a name, ...
[[nodiscard]] std::string KnownName(ByteSpan table);
// ... a file's bytes, none where it cannot be read, ...
[[nodiscard]] std::vector<std::uint8_t> ReadKnownFile(const std::string& name, std::size_t limit);
// ... and keeping one: the oldest of its kind (what stands before the last "-") go.
void KeepKnownFile(const std::string& name, ByteSpan bytes);

}  // namespace lumato::store
