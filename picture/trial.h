// What adding the edit picture would give, found without adding it: the stream at the very quality that Add
// would choose, and what the frame will make of it. Nothing is written and nothing is changed.
//
// Taken by the thread that owns the store and the edit picture. What was taken shares the picture's pixels
// and has all else by value: Run() on any thread, as often as one likes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "jpeg/decoder.h"
#include "picture/encoding_plan.h"
#include "picture/my_image.h"
#include "picture/row_bands.h"
#include "store/store_state.h"

namespace lumato::picture {

struct Trial {
    std::shared_ptr<const BitmapInfo> pixels;
    MyImage image;  // of them
    store::Rect rect;
    int lcdWidth = 0;
    int lcdHeight = 0;
    int yValue = 0;
    EncodingPlan plan;

    struct Outcome {
        std::vector<std::uint8_t> composed;  // as RenderLcdBitmap() makes it
        jpeg::DecodedPicture decoded;
        int bytes = 0;  // of the stream
        int quality = 0;
    };
    // Errors: of the composition, the encoder or the decoder; Gone when it is not wanted any more.
    [[nodiscard]] Result<Outcome> Run(const IsWanted& isWanted = {}) const;

    // The same picture in the same pose, whatever the frame has to offer.
    [[nodiscard]] bool ShowsTheSame(const Trial& other) const;
};

// In the place of the picture at `replaces`, or with 0 behind all. Nothing without an edit picture, or while
// the LCD rectangle has not the LCD's size.
[[nodiscard]] std::optional<Trial> TakeTrial(int replaces);

}  // namespace lumato::picture
