// Paints a straight picture, or one on its side, onto a surface while its rows come, and holds no more of
// them than one line needs and a few to come: the same bytes as painting it whole.
//
// One thread at a time.
#pragma once

#include <vector>

#include "picture/axes_painter.h"

namespace lumato::picture {

class StripPainter {
  public:
    // `painter` lays rows along the surface's rows or columns; the picture has `heldHeight` rows of
    // `bytesPerRow`.
    StripPainter(AxesPainter painter, int heldHeight, std::size_t bytesPerRow);

    // Of each row, those that are painted.
    [[nodiscard]] Columns Needed() const { return m_painter.Needed(); }
    // Where the next row is to be put; the one before is complete. Requires: fewer than all were asked for.
    [[nodiscard]] std::uint8_t* NextRow();
    // All rows are complete.
    void Finish() { PaintUpTo(m_rows); }

  private:
    // The lines in the order in which their rows come.
    [[nodiscard]] int Line(int place) const;
    [[nodiscard]] int FirstRow(int place) const;
    void PaintUpTo(int completeRows);
    void DropPainted();

    AxesPainter m_painter;
    std::size_t m_bytesPerRow;
    int m_mostRows;  // in the window
    std::vector<std::uint8_t> m_window;
    int m_windowBegin = 0;  // the first row in it
    int m_rows = 0;         // so many were asked for
    int m_painted = 0;      // so many lines
};

}  // namespace lumato::picture
