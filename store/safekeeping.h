// Keeps the journal of the connected frame in step with its list: before a download changes the frame, and
// when pictures are added or waiting ones deleted. Without a state folder nothing is kept.
//
// Used by the thread that owns the store.
#pragma once

#include <memory>

#include "store/download_plan.h"
#include "store/journal.h"
#include "store/picture_list.h"

namespace lumato::store {

// Makes everything safe that this download can change: the table block as read, blocksAtRisk, and the streams
// of the pictures that it writes; of those that stay where they are it notes where that is. Shows progress
// while it copies all. Errors: a picture's local file is missing or has changed; the journal cannot be
// written. The frame must not be changed then.
[[nodiscard]] Result<void> KeepDownload(const DownloadPlan& plan, ByteSpan tableBlock);
// The same for a block that came into blocksAtRisk since.
[[nodiscard]] Result<void> KeepBlocks();
// The download is about to end early, with that table and what else is in its block. `addresses`: where each
// picture of the list lies then; 0: it waits.
[[nodiscard]] Result<void> KeepStopped(ByteSpan tableBlock, const std::vector<std::int32_t>& addresses);
// The frame's table is the one that was to be written, and the list's other pictures wait.
[[nodiscard]] Result<void> KeepOnlyWaiting();
// What such a journal says.
[[nodiscard]] Journal OnlyWaiting(Journal journal);
// The frame holds the list, and its table is the one in memory.
void ForgetJournal();

// A picture that was just added: it comes back at the next connection if the program ends before a download.
[[nodiscard]] Result<void> KeepAddition(FileData& record);
// Waiting pictures that are about to be deleted: they do not come back. `last`: the end of the range of
// records, not included.
void ForgetAdditions(const FileData* from, const FileData* last);

// An edit was undone or done again: what waits is kept as it was in that journal, if there was one.
[[nodiscard]] Result<void> KeepAsBefore(const std::shared_ptr<Journal>& journal);

// Whether the list and the frame differ in what a download would write.
[[nodiscard]] bool DownloadIsDue();

}  // namespace lumato::store
