// Reads coded bits, most significant first. Every byte is data: there are no markers and no stuffing.
//
// Past the end it supplies zeros, and says so afterwards, so that the decoding loops need no checks of their
// own. Borrows the bytes. One thread.
#pragma once

#include <cstdint>

#include "base/bytes.h"

namespace lumato::jpeg {

class BitReader {
  public:
    explicit BitReader(ByteSpan bytes) : m_next(bytes.data()), m_end(bytes.data() + bytes.size()) {}

    // Makes at least 32 bits available to the calls below: enough for one symbol and its additional bits.
    void Refill() {
        if (m_count >= 32)
            return;
        if (m_end - m_next >= 4) {
            m_window |= static_cast<std::uint64_t>(GetBe32(ByteSpan(m_next, 4))) << (32 - m_count);
            m_next += 4;
            m_count += 32;
        } else {
            RefillNearEnd();
        }
    }

    // The next 16 bits, not consumed.
    [[nodiscard]] std::uint32_t Peek16() const { return static_cast<std::uint32_t>(m_window >> 48); }

    void Consume(int size) {
        m_window <<= size;
        m_count -= size;
    }

    // The next `size` bits, 1 to 16.
    std::uint32_t Take(int size) {
        const auto bits = static_cast<std::uint32_t>(m_window >> (64 - size));
        Consume(size);
        return bits;
    }

    // Drops the bits up to the next byte boundary.
    void AlignToByte() { Consume(m_count & 7); }

    // True when more bits were consumed than there are.
    [[nodiscard]] bool IsPastEnd() const { return m_padding > m_count; }

  private:
    void RefillNearEnd() {
        for (; m_count < 32; m_count += 8) {
            std::uint64_t byte = 0;
            if (m_next != m_end)
                byte = *m_next++;
            else
                m_padding += 8;
            m_window |= byte << (56 - m_count);
        }
    }

    const std::uint8_t* m_next;
    const std::uint8_t* m_end;
    std::uint64_t m_window = 0;  // the next bit to read is the highest
    int m_count = 0;    // valid bits in the window; whole bytes are loaded, so this tells the boundary
    int m_padding = 0;  // zero bits supplied past the end
};

}  // namespace lumato::jpeg
