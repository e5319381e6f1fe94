// Writes the coded bits, most significant first, without byte stuffing.
//
// The caller guarantees the room. One thread.
#pragma once

#include <cstdint>

namespace lumato::jpeg {

class BitWriter {
  public:
    explicit BitWriter(std::uint8_t* out) : m_out(out) {}

    // Appends the low `size` bits (0 to 32); higher ones are ignored.
    void Emit(std::uint32_t bits, int size) {
        m_pending = m_pending << size | (bits & ((std::uint64_t{1} << size) - 1));
        m_count += size;
        if (m_count >= 32)
            WriteWholeBytes();
    }

    // Completes the last byte with 1 bits. Position() is exact afterwards.
    void FillByte() {
        WriteWholeBytes();
        if (m_count > 0)
            Emit(0xFF, 8 - m_count);
        WriteWholeBytes();
    }

    // Where the next byte goes. Requires: nothing was emitted since the last FillByte().
    [[nodiscard]] std::uint8_t* Position() const { return m_out; }

  private:
    void WriteWholeBytes() {
        while (m_count >= 8) {
            m_count -= 8;
            *m_out++ = static_cast<std::uint8_t>(m_pending >> m_count);
        }
    }

    std::uint8_t* m_out;
    std::uint64_t m_pending = 0;  // its low m_count bits are not written yet
    int m_count = 0;              // fewer than 32 between calls
};

}  // namespace lumato::jpeg
