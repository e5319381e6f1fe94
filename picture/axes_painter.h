// Paints a picture that lies straight or on its side onto a surface, line by line: a line is a few of the
// picture's rows, combined by weight, and then combined again along itself.
//
// One thread at a time.
#pragma once

#include <vector>

#include "import/colour.h"
#include "import/row_taker.h"
#include "picture/axis_taps.h"
#include "picture/pixel_view.h"
#include "picture/surface.h"

namespace lumato::picture {

class AxesPainter {
  public:
    // `across` runs along the picture's rows, `down` along its columns; `turned` lays the picture's rows down
    // the surface's columns. `colours`: of the picture, null where they stay as they are. Requires: both and
    // the surface's memory outlive the painter.
    AxesPainter(const Surface& surface, AxisTaps across, AxisTaps down, bool turned,
                const ColourConverter* colours = nullptr);

    // A line is a pixel of this axis: from 0 to Lines() - 1, in any order.
    [[nodiscard]] const AxisTaps& Down() const { return m_down; }
    // The pixels of a picture's row that are read.
    [[nodiscard]] Columns Needed() const { return {m_across.FirstHeld(), m_across.EndHeld()}; }
    [[nodiscard]] int Lines() const { return m_across.count == 0 ? 0 : m_down.count; }

    // Lays a line, with its coverage, over what is there. `row` is the start of the picture's row
    // Down().first[line]; the next ones follow `stride` bytes after each other, Down().width in all.
    void PaintLine(int line, const std::uint8_t* row, std::size_t stride);

  private:
    Surface m_surface;
    AxisTaps m_across;
    AxisTaps m_down;
    bool m_turned;
    const ColourConverter* m_converter;
    std::size_t m_firstByte = 0;  // of a row, of those that are read at all
    std::size_t m_bytes = 0;      // of a row, so many are read
    std::size_t m_fullBegin = 0;  // the pixels of a line that the picture covers in their whole width
    std::size_t m_fullEnd = 0;
    std::vector<std::int16_t> m_rows;  // the combined rows
    std::vector<std::uint8_t> m_colours;
};

}  // namespace lumato::picture
