// How far long work is: values, which each program says in its own way.
//
// Values; any thread.
#pragma once

#include <cstdint>
#include <optional>

namespace lumato::store {

enum class Phase {
    Reading,   // pictures come from the frame
    Adding,    // pictures are composed and encoded
    Writing,   // blocks go to the frame
    Checking,  // what is there is read back and compared
    Saving,    // copies go into a folder of the user's
};

struct Progress {
    Phase phase = Phase::Writing;
    int picture = 0;              // the one in hand, from 1
    int pictures = 0;             // of so many; 0: pictures are not counted
    std::int64_t bytes = 0;       // that the frame has confirmed, or that were read
    std::int64_t totalBytes = 0;  // 0: not known
    std::optional<double> secondsLeft = {};
    bool operator==(const Progress&) const = default;

    // Of the whole, by bytes where they are known: they tell more than pictures, which differ in size.
    [[nodiscard]] double Done() const {
        return totalBytes > 0
                   ? static_cast<double>(bytes) / static_cast<double>(totalBytes)
                   : static_cast<double>(picture > 0 ? picture - 1 : 0) / (pictures > 0 ? pictures : 1);
    }
};

}  // namespace lumato::store
