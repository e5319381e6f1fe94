// Which journal is the connected frame's: frames of one model say the same of themselves, so what they hold
// has to tell.
//
// A valid table on the frame is evidence for the journals that name exactly this table as the one before or
// after, and against all others. Without one, the frame is searched for what a journal speaks of. Used by the
// thread that owns the store.
#pragma once

#include <map>

#include "store/journal.h"

namespace lumato::store {

// What the system knows of the frame beyond its model, held against the journal.
enum class Individual { Another, Unknown, Same };
[[nodiscard]] Individual IndividualOf(const Journal& journal);

// The table on the frame is, byte for byte, the one before or after.
[[nodiscard]] bool NamesTable(const Journal& journal);

// A picture that a download cannot have touched: it was stored, and no block at risk has bytes of it.
[[nodiscard]] bool IsOutOfReach(const Journal& journal, const JournalPicture& picture);

// What a frame without a valid table holds of what a journal speaks of.
struct Findings {
    bool some = false;           // a picture, or a block as it was
    bool all = false;            // every picture that was out of reach
    bool contradiction = false;  // there are such pictures, and none is found
};

// Searches the frame; reads each place once, whatever the number of journals.
class FrameSearch {
  public:
    // `thorough`: not only until something is found. Errors: the frame cannot be read.
    Result<Findings> Search(const Journal& journal, bool thorough);

  private:
    Result<bool> Holds(std::int32_t address, std::int32_t length, const Digest& hash);
    Result<bool> HoldsPlanned(const Journal& journal);
    Result<bool> HoldsBlock(const Journal& journal);

    std::map<std::pair<std::int32_t, std::int32_t>, Digest> m_found;
};

}  // namespace lumato::store
