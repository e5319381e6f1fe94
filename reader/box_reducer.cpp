#include "reader/box_reducer.h"

#include <algorithm>
#include <array>

namespace lumato {

BoxReducer::BoxReducer(Size full, int divisor, int bands)
    : m_full(full),
      m_divisor(divisor),
      m_bands(bands),
      m_sums(static_cast<std::size_t>(full.width) * static_cast<std::size_t>(bands)),
      m_row(static_cast<std::size_t>(DividedUp(full, divisor).width) * static_cast<std::size_t>(bands)) {}

bool BoxReducer::Add(const std::uint8_t* row) {
    std::uint32_t* const sums = m_sums.data();
    const std::size_t size = m_sums.size();
    if (m_rows == 0)
        std::copy_n(row, size, sums);
    else
        for (std::size_t i = 0; i < size; ++i)
            sums[i] += row[i];
    ++m_rowsTaken;
    if (++m_rows < m_divisor && m_rowsTaken < m_full.height)
        return false;
    if (m_bands == 1)
        Emit<1>();
    else
        Emit<3>();
    m_rows = 0;
    return true;
}

template <std::size_t kBands>
void BoxReducer::Emit() {
    const std::uint32_t* column = m_sums.data();
    std::uint8_t* mean = m_row.data();
    for (int x = 0; x < m_full.width; x += m_divisor) {
        const int columns = std::min(m_divisor, m_full.width - x);
        std::array<std::int64_t, kBands> sums{};
        for (int i = 0; i < columns; ++i)
            for (std::int64_t& sum : sums)
                sum += *column++;
        // Whole numbers are divided slowly. With the half between two of them added no quotient is closer to
        // a whole one than half a part, a 2^31st at the least, and doubles of up to 255 are exact to a
        // 2^44th.
        const std::int64_t area = std::int64_t{m_rows} * columns;
        const double part = 1.0 / static_cast<double>(area), half = static_cast<double>(area / 2) + 0.5;
        for (const std::int64_t sum : sums)
            *mean++ = static_cast<std::uint8_t>(static_cast<int>((static_cast<double>(sum) + half) * part));
    }
}

}  // namespace lumato
