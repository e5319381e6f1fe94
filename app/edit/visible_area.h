// Which part of the canvas the edit view and the rectangle above it show: around the LCD rectangle, and all
// of the canvas where the LCD is larger than that. Its size is that of the LCD, so that a moved rectangle
// never changes the magnification; it moves on only as far as the rectangle would leave it.
//
// A value; main thread only.
#pragma once

#include <QRectF>

#include "store/store_state.h"

namespace lumato::app {

class VisibleArea {
  public:
    // Has the area hold the rectangle, which has the LCD's size. True: it is another one now.
    bool Follow(const store::Rect& rect);

    // In canvas pixels.
    [[nodiscard]] const QRectF& Get() const { return m_area; }

  private:
    QRectF m_area{0, 0, 580, 400};
};

}  // namespace lumato::app
