// Rows of a picture into fewer and shorter ones: in a reader, so that only these are handed over, and in the
// program, of what it reads itself.
//
// One picture per object, one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/size.h"

namespace lumato {

// Every kept pixel is the exact mean of a square of them, at the far edges of what is left.
class BoxReducer {
  public:
    // Squares of so many pixels a side; pixels of so many bytes, one or three. Requires: divisor > 0.
    BoxReducer(Size full, int divisor, int bands = 3);

    // Takes the next full row. True when it completed a kept row, which is then in Row().
    bool Add(const std::uint8_t* row);
    [[nodiscard]] const std::uint8_t* Row() const { return m_row.data(); }

  private:
    template <std::size_t kBands>
    void Emit();

    const Size m_full;
    const int m_divisor;
    const int m_bands;
    int m_rowsTaken = 0;
    int m_rows = 0;                     // in m_sums
    std::vector<std::uint32_t> m_sums;  // of columns
    std::vector<std::uint8_t> m_row;
};

}  // namespace lumato
