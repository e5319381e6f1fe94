// The bytes of a JPEG scan as its entropy coding wrote them: stuffed zeros taken out, one restart interval
// after the other (T.81 sections B.1.1.5 and E.1.4).
//
// One thread at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "import/picture_file.h"

namespace lumato::picture {

class ScanBytes {
  public:
    // Begins with the interval that starts at `offset` of the file.
    ScanBytes(const PictureFile& file, std::int64_t offset);

    // The last `kept` of the bytes that the last call gave, and behind them as many as make at least
    // `wanted`, or all that are left of the interval. `wanted`: below 32 KB. Valid until the next call. Empty
    // when the file ended before the interval, or cannot be read.
    [[nodiscard]] ByteSpan Fetch(std::size_t kept, std::size_t wanted);
    // The marker that ends the interval, once Fetch() came to it; else 0.
    [[nodiscard]] int Marker() const { return m_marker; }
    // Goes on with the interval behind the marker: the next call keeps nothing.
    void NextInterval() { m_marker = 0; }
    // Where the file goes on behind the marker.
    [[nodiscard]] std::int64_t OffsetBehindMarker() const {
        return m_offset - static_cast<std::int64_t>(m_raw.size() - m_rawNext);
    }

  private:
    [[nodiscard]] bool Read();
    void Unstuff();

    const PictureFile& m_file;
    std::int64_t m_offset;  // behind the bytes in m_raw
    std::vector<std::uint8_t> m_raw;
    std::size_t m_rawNext = 0;
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_end = 0;
    int m_marker = 0;
    bool m_afterFf = false;  // the last byte taken was 0xFF, and the next one tells what it means
};

}  // namespace lumato::picture
