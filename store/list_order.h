// The order of the pictures in the list, which a download gives to the frame.
//
// Slot k of the table in memory is that of the list's k-th picture (picture_table.h). Used by the thread that
// owns the store.
#pragma once

#include <vector>

namespace lumato::store {

// Moves the pictures at these positions, in the order of the list, in front of the one at `before` (one more
// than there are: to the end); the others close up, and the selection stays with its picture. False, with
// nothing changed, for positions that the list or the frame's table does not have.
bool MovePictures(std::vector<int> positions, int before);
// The same with one, which then stands at position `to`.
bool MovePicture(int from, int to);

// Marks the slots of pictures that wait before stored ones, so that nobody takes them for holes.
void ReserveSlots();

// Whether a download would change the frame: something waits, or stored pictures were deleted or moved since
// the frame's table was read or written.
[[nodiscard]] bool ListDiffers();
// What of that would be forgotten with the frame: deletions and moves, and what waits without being kept.
[[nodiscard]] bool StoredPicturesDiffer();
struct Waiting {
    int kept = 0;    // in the journal: they come back with the frame
    int unkept = 0;  // those of a restoration
};
[[nodiscard]] Waiting CountWaiting();
// The list is now what the frame holds.
void NoteListAsStored();

}  // namespace lumato::store
