// The encoder's way from coefficients to coded bits: quantization in vectors, and entropy coding that goes
// from one coefficient that is not 0 to the next. The plain twins are Quantizer and encoder.cpp.
//
// Included once per vector width. No state outside the objects; separate ones may be used on different
// threads.
#if defined(LUMATO_JPEG_VECTOR_CODE) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_CODE
#undef LUMATO_JPEG_VECTOR_CODE
#else
#define LUMATO_JPEG_VECTOR_CODE
#endif

#include <bit>

#include "base/bytes.h"
#include "jpeg/encode_vectors.h"
#include "jpeg/scan_masks.h"
#include "jpeg/vector_blocks.inl.h"
#include "jpeg/word_access.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// Which coefficients of a group of blocks are not 0, in natural order: row r of block b in byte
// r * kGroup + b. Stored in bytes, so that vectors need no rearranging.
struct GroupMasks {
    std::uint8_t rows[8 * kGroup + 8];
};

// Division of a vector of coefficients, by those of a WordQuantizer.
HWY_INLINE UnsignedWords QuantizedMagnitude(Words value, UnsignedWords half4, UnsignedWords reciprocal,
                                            UnsignedWords shift) {
    const UnsignedWords magnitude = hn::BitCast(UnsignedWordTag(), hn::Abs(value));
    return hn::MulHigh(hn::MulHigh(hn::ShiftLeft<2>(magnitude) + half4, reciprocal), shift);
}
// `magnitude` with the sign of `value`.
HWY_INLINE Words Signed(UnsignedWords magnitude, Words value) {
    const Words sign = hn::BroadcastSignBit(value);
    return (hn::BitCast(WordTag(), magnitude) ^ sign) - sign;
}
// Those of the blocks' rows `row`.
HWY_INLINE UnsignedWords RowMagnitudes(const WordQuantizer& quantizer, std::size_t row, Words value) {
    const UnsignedWordTag tag;
    return hn::Min(QuantizedMagnitude(value, hn::LoadDup128(tag, quantizer.half4 + row * 8),
                                      hn::LoadDup128(tag, quantizer.reciprocal + row * 8),
                                      hn::LoadDup128(tag, quantizer.shift + row * 8)),
                   hn::LoadDup128(tag, quantizer.largest + row * 8));
}

// Quantizes a group of blocks; `quantized` may be `coefficients`.
HWY_INLINE void QuantizeGroup(const WordQuantizer& quantizer, const std::int16_t* coefficients,
                              std::int16_t* quantized, GroupMasks& masks) {
    const WordTag words;
    const std::size_t lanes = hn::Lanes(words);
    for (std::size_t row = 0; row < 8; ++row) {
        const Words value = hn::LoadU(words, coefficients + row * lanes);
        const Words result = Signed(RowMagnitudes(quantizer, row, value), value);
        hn::StoreU(result, words, quantized + row * lanes);
        hn::StoreMaskBits(words, hn::Ne(result, hn::Zero(words)), masks.rows + row * kGroup);
    }
}

// Collects coded bits. The caller guarantees the room, and kCodingOverrun bytes more.
class FastBitWriter {
  public:
    explicit FastBitWriter(std::uint8_t* out) : m_out(out) {}

    // Appends `size` bits, 1 to 56; `bits` has none above them. At most 57 may be appended between two calls
    // of Flush().
    HWY_INLINE void Put(std::uint64_t bits, unsigned size) {
        m_count += size;
        m_pending |= bits << (64 - m_count);
    }
    // Writes the whole bytes.
    HWY_INLINE void Flush() {
        StoreBigEndian(m_out, m_pending);
        m_out += m_count >> 3;
        m_pending <<= m_count & 56;
        m_count &= 7;
    }
    // Completes the last byte with 1 bits. Requires: Flush() was called last.
    HWY_INLINE void FillByte() {
        StoreBigEndian(m_out, m_pending | ~std::uint64_t{0} >> m_count);
        m_out += (m_count + 7) >> 3;
        m_pending = 0;
        m_count = 0;
    }
    [[nodiscard]] std::uint8_t* Position() const { return m_out; }

  private:
    std::uint8_t* m_out;
    std::uint64_t m_pending = 0;  // the bits that are not written yet, from the highest on
    unsigned m_count = 0;
};

// Appends the code of a value's category, whose symbol has `run` in its upper half, with the additional bits.
HWY_INLINE void PutValue(const ValueCodes& codes, unsigned run, int value, FastBitWriter& bits) {
    const auto negative = static_cast<unsigned>(value >> 31);
    const auto category =
        static_cast<unsigned>(std::bit_width((static_cast<unsigned>(value) ^ negative) - negative));
    const std::uint32_t entry = codes[run << 4 | category];
    const unsigned additional = (static_cast<unsigned>(value) + negative) & ((1U << category) - 1);
    bits.Put(entry >> 5 | additional, entry & 31);
}

// A symbol without additional bits.
HWY_INLINE void PutSymbol(const ValueCodes& codes, std::size_t symbol, FastBitWriter& bits) {
    const std::uint32_t entry = codes[symbol];
    bits.Put(entry >> 5, entry & 31);
    bits.Flush();
}

// Codes a block from its mask of coefficients in the order of the scan.
HWY_INLINE void CodeBlock(const FastCoding& coding, const std::int16_t* block, std::uint64_t mask,
                          int& predictor, FastBitWriter& bits) {
    PutValue(*coding.dc, 0, block[0] - predictor, bits);
    predictor = block[0];
    bits.Flush();
    unsigned last = 0;
    for (mask &= ~std::uint64_t{1}; mask != 0; mask &= mask - 1) {
        const auto place = static_cast<unsigned>(std::countr_zero(mask));
        const unsigned zeros = place - last - 1;
        const int value = block[ScanOffsets<kGroup>[place]];
        last = place;
        for (unsigned run = zeros; run > 15; run -= 16)
            PutSymbol(*coding.ac, 0xF0, bits);
        PutValue(*coding.ac, zeros & 15, value, bits);
        bits.Flush();
    }
    if (last != 63)
        PutSymbol(*coding.ac, 0x00, bits);
}

// A row of blocks, quantized, with their masks.
struct CodedRow {
    alignas(64) std::int16_t coefficients[ChunkCoefficients::kRowOfBlocks];
    GroupMasks masks[kChunkBlocks / kGroup];

    void Quantize(const WordQuantizer& quantizer, std::size_t blocks, const std::int16_t* row) {
        for (std::size_t block = 0; block < blocks; block += kGroup)
            QuantizeGroup(quantizer, row + block * 64, coefficients + block * 64, masks[block / kGroup]);
    }
    HWY_INLINE void Code(const FastCoding& coding, std::size_t block, int& predictor,
                         FastBitWriter& bits) const {
        const std::uint8_t* const rows = masks[block / kGroup].rows + block % kGroup;
        CodeBlock(coding, coefficients + BlockStart(block, kGroup), ScanMask<kGroup>(rows), predictor, bits);
    }
};

HWY_INLINE void AddMcuEntry(CodingPosition& position, const std::uint8_t* data) {
    const MutableByteSpan entry(position.mcuEntry, kMcuEntrySize);
    for (std::size_t i = 0; i < 3; ++i)
        PutLe16(entry.subspan(2 * i), static_cast<std::uint32_t>(position.predictors[i]));
    PutLe16(entry.subspan(6), static_cast<std::uint32_t>(data - position.mcuEntry + position.moved));
    position.mcuEntry += kMcuEntrySize;
}

void CodeChunkHere(const std::array<const FastCoding*, 2>& codings, const McuGrid& grid, int mcus,
                   const ChunkCoefficients& coefficients, CodingPosition& position) {
    const FastCoding& luminance = *codings[0];
    const FastCoding& chrominance = *codings[1];
    const auto count = static_cast<std::size_t>(mcus);
    const std::size_t across = grid.wide ? 2 : 1;
    const std::size_t down = grid.tall ? 2 : 1;
    CodedRow cb;
    CodedRow cr;
    CodedRow luma[2];
    cb.Quantize(chrominance.quantizer, count, coefficients.cb);
    cr.Quantize(chrominance.quantizer, count, coefficients.cr);
    for (std::size_t row = 0; row < down; ++row)
        luma[row].Quantize(luminance.quantizer, count * across, coefficients.luma[row]);

    std::array<int, 3>& predictors = position.predictors;
    FastBitWriter bits(position.out);
    for (std::size_t mcu = 0; mcu < count; ++mcu) {
        if (position.mcuEntry != nullptr)
            AddMcuEntry(position, bits.Position());
        cb.Code(chrominance, mcu, predictors[1], bits);
        cr.Code(chrominance, mcu, predictors[2], bits);
        for (std::size_t row = 0; row < down; ++row) {
            for (std::size_t column = 0; column < across; ++column)
                luma[row].Code(luminance, mcu * across + column, predictors[0], bits);
        }
        bits.FillByte();
    }
    position.out = bits.Position();
}

void QuantizeBlocksHere(const WordQuantizer& quantizer, std::size_t blocks, std::int16_t* coefficients,
                        std::uint64_t* masks) {
    GroupMasks groupMasks;
    for (std::size_t block = 0; block < blocks; ++block) {
        if (block % kGroup == 0)
            QuantizeGroup(quantizer, coefficients + block * 64, coefficients + block * 64, groupMasks);
        masks[block] = 0;
        for (std::size_t row = 0; row < 8; ++row)
            masks[block] |= std::uint64_t{groupMasks.rows[row * kGroup + block % kGroup]} << (8 * row);
    }
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
