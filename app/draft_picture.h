// A picture ready to be drawn in any pose at once, a little less sharp than the composer draws it: what the
// edit view shows of a new pose until the composer is done.
//
// Made on any thread; constant afterwards.
#pragma once

#include <QImage>
#include <vector>

#include "picture/bitmap_info.h"

namespace lumato::app {

class DraftPicture {
  public:
    explicit DraftPicture(const picture::BitmapInfo& picture);

    // Draws into the middle of `into`, where the composer draws the picture without an offset. Requires:
    // `pose` is of the same picture.
    void Draw(QImage& into, const picture::MyImage& pose, double pixelsPerCanvasPixel) const;

  private:
    std::vector<QImage> m_levels;  // each half as large as the one before
};

}  // namespace lumato::app
