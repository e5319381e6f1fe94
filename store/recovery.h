// What becomes of a frame whose last download broke off, or whose additions were never downloaded.
//
// Used by the thread that owns the store.
#pragma once

#include "base/error.h"

namespace lumato::store {

// The read-back of a connection, with the journals that may be this frame's taken into account. A table that
// the download had made invalid is rebuilt from the journal: pictures whose bytes are still those they were
// are listed as in the frame, all others wait for the next download. Pictures that never got into a valid
// table wait, too. Nothing is written to the frame. Errors: those of ReadPicFromFlash(); a journal cannot be
// read.
Result<void> ReadPicturesAndRecover();

// Whether that would leave a download due, as far as the table and the journals tell: nothing is read back,
// and nothing is changed. Errors: the frame cannot be read.
Result<bool> LooksDue();

// At the start of a download, or before pictures are moved: the list in the order of the download that broke
// off, with the pictures whose old place the blocks at risk bring back in that place. What was changed in the
// list since stays changed. Once for each connection.
void ResumeDownload();

}  // namespace lumato::store
