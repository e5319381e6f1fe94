// How a new picture is to be encoded: at which quality, and what it may take of the frame.
//
// Used by the thread that owns the store.
#pragma once

#include <optional>

#include "base/phrase.h"

namespace lumato::picture {

inline constexpr int kQualityStep = 10;  // by which the quality is lowered where a picture must fit a share

// Where a new picture goes in the list, and how it is encoded.
struct Placing {
    int replaces = 0;              // position of the picture whose place it takes; 0: behind the last one
    std::optional<int> quality{};  // nothing: as the frame and its space want it
};

struct EncodingPlan {
    Phrase whyNot;        // no picture can be added, whatever it takes; empty: one can
    int quality = 0;      // to begin with
    bool shared = false;  // each picture has its share of the frame, and the quality is lowered to fit it
    int room = 0;         // the bytes it may take
    bool operator==(const EncodingPlan&) const = default;
};
// `pictures`: so many has the list once it is there.
[[nodiscard]] EncodingPlan PlanEncoding(const Placing& placing, int pictures);

}  // namespace lumato::picture
