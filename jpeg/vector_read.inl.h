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
#include "jpeg/inverse_dct.h"
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
            *this = RefilledNearEnd(*this);
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
    // By value, so that the reader that is in use can stay in registers.
    static HWY_NOINLINE FastBitReader RefilledNearEnd(FastBitReader reader) {
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
    std::uint64_t m_window = 0;
    int m_count = 0;
    int m_padding = 0;
};

HWY_INLINE int ReadDifference(const ComponentTables& tables, FastBitReader& bits) {
    const DcTable::Entry entry = tables.dcValues->Find(bits.Window());
    if (entry.length != 0) {
        bits.Consume(entry.length);
        return entry.value;
    }
    const SymbolTable::Match match = tables.dcSymbols->Find(static_cast<std::uint32_t>(bits.Window() >> 48));
    bits.Consume(match.length);
    const int category = match.symbol & 15;
    return ExtendedValue(bits.Take(category), category);
}

// Reads a block's coefficients, dequantized. What decoder.cpp says of damaged data holds here, too.
class BlockReader {
  public:
    // `block`: all 0.
    HWY_INLINE BlockReader(const ComponentTables& tables, std::int16_t* block, FastBitReader& bits)
        : m_tables(tables), m_places(tables.scan->places.data()), m_block(block), m_bits(bits) {}

    HWY_INLINE void Read(std::int16_t& predictor) {
        m_bits.Refill();
        predictor = static_cast<std::int16_t>(predictor + ReadDifference(m_tables, m_bits));
        Put(0, predictor);
        m_bits.Refill();
        // Two at a time, while even the longest run before the first of them leaves room for the second. One
        // refill does for three looks: 12 + 12 + 31 bits.
        constexpr unsigned kLastForTwo = 63 - 17;
        for (;;) {
            if (ReadTwo() > kLastForTwo || ReadTwo() > kLastForTwo || ReadTwo() > kLastForTwo)
                break;
            m_bits.Refill();
        }
        while (m_place < 63) {
            m_bits.Refill();
            ReadOne();
        }
    }

  private:
    HWY_INLINE void Put(unsigned place, int value) {
        const ScanPlaces::Place at = m_places[place];
        m_block[at.offset] = Dequantize(static_cast<std::int16_t>(value), at.quant);
    }

    HWY_INLINE unsigned ReadTwo() {
        const AcTable::Entry entry = m_tables.acValues->Find(m_bits.Window());
        if (HWY_LIKELY(entry.length != 0)) {
            m_bits.Consume(entry.length);
            m_place += entry.firstSkip;
            Put(m_place, entry.firstValue);
            m_place += entry.secondSkip;
            Put(m_place, entry.secondValue);
        } else {
            ReadLong(entry);
        }
        return m_place;
    }

    HWY_INLINE void ReadOne() {
        const AcTable::Entry entry = m_tables.acValues->Find(m_bits.Window());
        if (entry.length == 0) {
            ReadLong(entry);
            return;
        }
        m_bits.Consume(entry.firstLength);
        m_place += entry.firstSkip;
        Put(m_place, entry.firstValue);
    }

    // A value that one look does not tell.
    HWY_INLINE void ReadLong(const AcTable::Entry& entry) {
        if (entry.firstLength != 0) {
            m_bits.Consume(entry.firstLength);
            m_place += entry.firstSkip;
            PutNext(entry.firstValue);
        } else {
            const SymbolTable::Match match =
                m_tables.acSymbols->Find(static_cast<std::uint32_t>(m_bits.Window() >> 48));
            m_bits.Consume(match.length);
            m_place += match.symbol == 0 ? unsigned{AcTable::kPastTheBlock}
                                         : static_cast<unsigned>(match.symbol >> 4) + 1;
            PutNext(match.symbol & 15);
        }
    }

    // Reads the additional bits.
    HWY_INLINE void PutNext(int category) {
        Put(m_place, ExtendedValue(m_bits.Take(category), category));
        m_bits.Refill();
    }

    const ComponentTables& m_tables;
    const ScanPlaces::Place* m_places;
    std::int16_t* m_block;
    FastBitReader& m_bits;
    unsigned m_place = 0;
};

HWY_INLINE void ReadBlock(const ComponentTables& tables, std::int16_t& predictor, std::int16_t* block,
                          FastBitReader& bits) {
    BlockReader(tables, block, bits).Read(predictor);
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
