// Reads coded bits, most significant first. Every byte is data: there are no markers and no stuffing.
//
// Past the end it supplies zeros, and says so afterwards, so that the decoding loops need no checks of their
// own. Everything is inlined, so that each form of the decoder (codec_form.h) gets the bit instructions of
// its processor. Borrows the bytes. One thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "jpeg/word_access.h"

namespace lumato::jpeg {

class BitReader {
  public:
    explicit BitReader(ByteSpan bytes) : m_next(bytes.data()), m_end(bytes.data() + bytes.size()) {}

    // Makes at least 56 bits available.
    [[gnu::always_inline]] void Refill() {
        if (m_end - m_next >= 8) {
            // What does not fit is loaded again by the next call.
            m_window |= LoadBigEndian(m_next) >> m_count;
            m_next += (63 - m_count) >> 3;
            m_count |= 56;
        } else {
            *this = RefilledNearEnd(*this);
        }
    }
    // The next bits, from the highest on; those beyond the available ones do not count.
    [[nodiscard, gnu::always_inline]] std::uint64_t Window() const { return m_window; }
    [[gnu::always_inline]] void Consume(int size) {
        m_window <<= size;
        m_count -= size;
    }
    // 0 to 16 bits.
    [[gnu::always_inline]] std::uint32_t Take(int size) {
        const auto bits = static_cast<std::uint32_t>(m_window >> 1 >> (63 - size));
        Consume(size);
        return bits;
    }
    // Drops the bits up to the next byte boundary.
    [[gnu::always_inline]] void AlignToByte() { Consume(m_count & 7); }

    // Of the bytes that were borrowed.
    [[nodiscard]] std::ptrdiff_t UnreadBits() const { return (m_end - m_next) * 8 + m_count - m_padding; }
    // True when more bits were consumed than there are.
    [[nodiscard]] bool IsPastEnd() const { return m_padding > m_count; }

  private:
    // By value, so that the reader that is in use can stay in registers.
    [[gnu::noinline]] static BitReader RefilledNearEnd(BitReader reader) {
        for (; reader.m_count < 56; reader.m_count += 8) {
            std::uint64_t byte = 0;
            if (reader.m_next != reader.m_end)
                byte = *reader.m_next++;
            else
                reader.m_padding += 8;
            reader.m_window |= byte << (56 - reader.m_count);
        }
        return reader;
    }

    const std::uint8_t* m_next;
    const std::uint8_t* m_end;
    std::uint64_t m_window = 0;  // the next bit to read is the highest
    int m_count = 0;    // valid bits in the window; whole bytes are loaded, so this tells the boundary
    int m_padding = 0;  // zero bits supplied past the end
};

}  // namespace lumato::jpeg
