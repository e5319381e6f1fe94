#include "picture/strip_painter.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace lumato::picture {
namespace {

// What a line leaves for the next one is moved to the window's start once for so many rows.
constexpr int kRowsToCome = 32;

}  // namespace

StripPainter::StripPainter(AxesPainter painter, int heldHeight, std::size_t bytesPerRow)
    : m_painter(std::move(painter)),
      m_bytesPerRow(bytesPerRow),
      m_mostRows(std::min(m_painter.Down().width + kRowsToCome, heldHeight)),
      m_window(static_cast<std::size_t>(m_mostRows) * bytesPerRow) {}

int StripPainter::Line(int place) const {
    const std::vector<int>& first = m_painter.Down().first;
    return first.front() <= first.back() ? place : m_painter.Lines() - 1 - place;
}

int StripPainter::FirstRow(int place) const {
    return m_painter.Down().first[static_cast<std::size_t>(Line(place))];
}

std::uint8_t* StripPainter::NextRow() {
    PaintUpTo(m_rows);
    if (m_rows - m_windowBegin == m_mostRows)
        DropPainted();
    return m_window.data() + static_cast<std::size_t>(m_rows++ - m_windowBegin) * m_bytesPerRow;
}

void StripPainter::PaintUpTo(int completeRows) {
    for (; m_painted < m_painter.Lines(); ++m_painted) {
        const int first = FirstRow(m_painted);
        if (first + m_painter.Down().width > completeRows)
            return;
        m_painter.PaintLine(Line(m_painted),
                            m_window.data() + static_cast<std::size_t>(first - m_windowBegin) * m_bytesPerRow,
                            m_bytesPerRow);
    }
}

void StripPainter::DropPainted() {
    const int needed = m_painted < m_painter.Lines() ? std::min(FirstRow(m_painted), m_rows) : m_rows;
    std::memmove(m_window.data(),
                 m_window.data() + static_cast<std::size_t>(needed - m_windowBegin) * m_bytesPerRow,
                 static_cast<std::size_t>(m_rows - needed) * m_bytesPerRow);
    m_windowBegin = needed;
}

}  // namespace lumato::picture
