// The journals of a home, for people: what there is, and its pictures as files. Works without any frame, and
// changes no journal. Callable from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/file.h"
#include "store/codec_port.h"

namespace lumato::store {

struct KeptJournal {
    int number = 0;  // of its own in this home
    Path folder;
    std::string frame;  // which frame, in words; empty: not known
    std::string
        kind;  // "additions", "download", "forgotten" (SetAside), "damaged", "unknown" (another version)
    int pictures = 0;
    std::uint32_t time = 0;  // seconds since 1970 when it was written; 0: not known
};

// By number. Errors: Unreadable.
[[nodiscard]] Result<std::vector<KeptJournal>> KeptJournals(const Path& statePath);

struct GivenOut {
    int saved = 0;
    int onFrame = 0;              // stored on the frame, and not copied
    std::vector<Error> failed{};  // one for each picture that is lost or could not be written
};

// Files in there would go with the journals.
[[nodiscard]] bool LiesAmongJournals(const Path& folder, const Path& statePath);

// The journal's pictures as N.stream and N.bmp in `folder`, which is made if it is not there; of a damaged
// one every picture that is whole. Errors: nothing was written, because a file of such a name is there, or
// the folder cannot be made or lies among the journals.
[[nodiscard]] Result<GivenOut> GiveOut(const KeptJournal& journal, const Path& folder, CodecPort& codec);

// Puts the journal where no frame is given it any more; its files stay.
[[nodiscard]] Result<void> SetAside(const KeptJournal& journal);

}  // namespace lumato::store
