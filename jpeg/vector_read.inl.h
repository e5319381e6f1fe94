// The decoder's entropy decoding with one look per coefficient. The plain twins are bit_reader.h and
// decoder.cpp.
//
// Included once per vector width, for the sake of the bit instructions that come with it.
#if defined(LUMATO_JPEG_VECTOR_READ) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_READ
#undef LUMATO_JPEG_VECTOR_READ
#else
#define LUMATO_JPEG_VECTOR_READ
#endif

#include "jpeg/decode_vectors.h"
#include "jpeg/scan_masks.h"
#include "jpeg/value_table.h"
#include "jpeg/vector_blocks.inl.h"
#include "jpeg/word_access.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// As BitReader, but eight bytes at a time while there are that many.
class FastBitReader {
  public:
    explicit FastBitReader(ByteSpan bytes) : m_next(bytes.data()), m_end(bytes.data() + bytes.size()) {}

    // Makes at least 56 bits available.
    HWY_INLINE void Refill() {
        if (m_end - m_next >= 8) {
            // What does not fit is loaded again by the next call.
            m_window |= LoadBigEndian(m_next) >> m_count;
            m_next += (63 - m_count) >> 3;
            m_count |= 56;
        } else {
            RefillNearEnd();
        }
    }
    // The next bits, from the highest on; those beyond the available ones do not count.
    [[nodiscard]] HWY_INLINE std::uint64_t Window() const { return m_window; }
    HWY_INLINE void Consume(int size) {
        m_window <<= size;
        m_count -= size;
    }
    // 0 to 16 bits.
    HWY_INLINE std::uint32_t Take(int size) {
        const auto bits = static_cast<std::uint32_t>(m_window >> 1 >> (63 - size));
        Consume(size);
        return bits;
    }
    HWY_INLINE void AlignToByte() { Consume(m_count & 7); }
    [[nodiscard]] bool IsPastEnd() const { return m_padding > m_count; }

  private:
    void RefillNearEnd() {
        for (; m_count < 56; m_count += 8) {
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
    std::uint64_t m_window = 0;
    int m_count = 0;
    int m_padding = 0;
};

HWY_INLINE int ReadDifference(const ComponentTables& tables, FastBitReader& bits) {
    const std::uint32_t entry = tables.dcValues->Find(bits.Window());
    const int length = static_cast<int>(entry & 0xFF);
    if (length != 0) {
        bits.Consume(length);
        return static_cast<std::int32_t>(entry) >> 16;
    }
    const SymbolTable::Match match = tables.dcSymbols->Find(static_cast<std::uint32_t>(bits.Window() >> 48));
    bits.Consume(match.length);
    const int category = match.symbol & 15;
    return ExtendedValue(bits.Take(category), category);
}

// An AC symbol that one look does not tell. Returns by how much the place in the scan grows.
HWY_NOINLINE inline unsigned ReadLongSymbol(const SymbolTable& symbols, FastBitReader& bits, int& value) {
    const SymbolTable::Match match = symbols.Find(static_cast<std::uint32_t>(bits.Window() >> 48));
    bits.Consume(match.length);
    const int category = match.symbol & 15;
    value = ExtendedValue(bits.Take(category), category);
    return match.symbol == 0 ? unsigned{ValueTable::kPastTheBlock}
                             : static_cast<unsigned>(match.symbol >> 4) + 1;
}

// Reads a block's coefficients; `block` is all 0 before. What decoder.cpp says of damaged data holds here,
// too.
HWY_INLINE void ReadBlock(const ComponentTables& tables, std::int16_t& predictor, std::int16_t* block,
                          FastBitReader& bits) {
    bits.Refill();
    predictor = static_cast<std::int16_t>(predictor + ReadDifference(tables, bits));
    block[0] = predictor;
    unsigned place = 0;
    do {
        bits.Refill();
        const std::uint32_t entry = tables.acValues->Find(bits.Window());
        const int length = static_cast<int>(entry & 0xFF);
        int value = static_cast<std::int32_t>(entry) >> 16;
        if (length != 0) {
            bits.Consume(length);
            place += entry >> 8 & 0xFF;
        } else {
            place += ReadLongSymbol(*tables.acSymbols, bits, value);
        }
        block[ScanOffsets<kGroup>[place]] = static_cast<std::int16_t>(value);
    } while (place < 63);
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
