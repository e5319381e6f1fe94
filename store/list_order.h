// The order of the pictures in the list, which a download gives to the frame.
//
// Slot k of the table in memory is that of the list's k-th picture (picture_table.h). Used by the thread that
// owns the store.
#pragma once

namespace lumato::store {

// Moves the picture at position `from` to position `to`; those in between close up, and the selection stays
// with its picture. False, with nothing changed, for positions that the list or the frame's table does not
// have.
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
