// A picture as it is held, and the same reduced by halves: turned pictures are drawn from the level that has
// about as many pixels as they show, so that a step of a turn costs the same for every photograph.
//
// Levels are made when they are first asked for, once, on several processors, and are all the same whoever
// asks when. Any thread. All of them together take a third of the held picture's memory.
#pragma once

#include <mutex>
#include <vector>

#include "picture/pixel_view.h"

namespace lumato::picture {

class PictureLevels {
  public:
    // Borrows the picture, whose pixels stay as they are from the first question on.
    explicit PictureLevels(const BitmapInfo& picture) : m_held(HeldPixels(picture)) {}

    // Level 0 is the held picture, each further one half as large, rounded up. Valid as long as this object.
    [[nodiscard]] PixelView At(int level);

  private:
    struct Level {
        int width = 0;
        int height = 0;
        std::vector<std::uint8_t> pixels;
    };
    [[nodiscard]] PixelView Smallest() const;

    PixelView m_held;
    std::mutex m_mutex;
    std::vector<Level> m_reduced;  // from level 1 on
};

}  // namespace lumato::picture
