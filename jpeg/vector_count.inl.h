// How many bytes coding would take, without coding: counted, and bounded from below, in vectors.
//
// Included once per vector width.
#if defined(LUMATO_JPEG_VECTOR_COUNT) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_COUNT
#undef LUMATO_JPEG_VECTOR_COUNT
#else
#define LUMATO_JPEG_VECTOR_COUNT
#endif

#include <algorithm>

#include "jpeg/vector_group_count.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// What a row of blocks takes, but for the first coefficients, which are left for later.
struct CountedRow {
    SizeBits bits[kChunkBlocks];
    std::int16_t first[kChunkBlocks];

    void Count(const FastCoding& coding, std::size_t blocks, const std::int16_t* row) {
        const GroupCounter counter(coding);
        for (std::size_t block = 0; block < blocks; block += kGroup)
            counter.Count(row + block * 64, std::min(kGroup, blocks - block), bits + block, first + block);
    }
    HWY_INLINE SizeBits Of(const SizeCodes& sizes, std::size_t block, int& predictor) const {
        SizeBits all = bits[block];
        all.sums += sizes.First(first[block] - predictor);  // to the exact half alone
        predictor = first[block];
        return all;
    }
};

void CountChunkHere(const std::array<const FastCoding*, 2>& codings, const McuGrid& grid, int mcus,
                    const ChunkCoefficients& coefficients, SizeCount& count) {
    const FastCoding& luminance = *codings[0];
    const FastCoding& chrominance = *codings[1];
    const auto mcuCount = static_cast<std::size_t>(mcus);
    const std::size_t across = grid.wide ? 2 : 1;
    const std::size_t down = grid.tall ? 2 : 1;
    CountedRow cb;
    CountedRow cr;
    CountedRow luma[2];
    cb.Count(chrominance, mcuCount, coefficients.cb);
    cr.Count(chrominance, mcuCount, coefficients.cr);
    for (std::size_t row = 0; row < down; ++row)
        luma[row].Count(luminance, mcuCount * across, coefficients.luma[row]);

    std::array<int, 3>& predictors = count.predictors;
    for (std::size_t mcu = 0; mcu < mcuCount; ++mcu) {
        if (count.tileMcus != 0 && mcu % count.tileMcus == 0)
            predictors = {luma[down - 1].first[mcu * across + across - 1], cb.first[mcu + 1],
                          cr.first[mcu + 1]};
        SizeBits bits = cb.Of(*chrominance.sizes, mcu, predictors[1]);
        bits += cr.Of(*chrominance.sizes, mcu, predictors[2]);
        for (std::size_t row = 0; row < down; ++row) {
            for (std::size_t column = 0; column < across; ++column)
                bits += luma[row].Of(*luminance.sizes, mcu * across + column, predictors[0]);
        }
        count.bytes += (bits.Exact() + 7) / 8;
        if (count.leastBits != nullptr)
            *count.leastBits++ = static_cast<std::uint16_t>(bits.Least());
    }
}

// The first coefficients of one kind of blocks: how they are quantized, and how many bits their differences
// take at least.
class FirstBounds {
  public:
    explicit FirstBounds(const FirstCoding& coding)
        : m_half4(hn::Set(UnsignedWordTag(), coding.divisor.half4)),
          m_reciprocal(hn::Set(UnsignedWordTag(), coding.divisor.reciprocal)),
          m_shift(hn::Set(UnsignedWordTag(), coding.divisor.shift)),
          m_low(hn::LoadDup128(ByteTag(), coding.sizes->FirstByLowBits())),
          m_high(hn::LoadDup128(ByteTag(), coding.sizes->FirstByHighBits())) {}

    HWY_INLINE Words Load(const std::int16_t* firsts) const {
        const Words value = hn::LoadU(WordTag(), firsts);
        return Signed(QuantizedMagnitude(value, m_half4, m_reciprocal, m_shift), value);
    }
    // Looked up by the halves of the difference's low byte; larger ones count as 255.
    HWY_INLINE Words BitsOf(Words difference) const {
        const Words bounded = hn::Min(hn::Abs(difference), Constant(255));
        const Words low = bounded & Constant(15);
        const Words high = hn::ShiftRight<4>(bounded);
        const Words bits = hn::Max(Look(m_low, low), Look(m_high, high));
        return bits & Constant(255);
    }

  private:
    static HWY_INLINE Words Look(Bytes table, Words index) {
        return hn::BitCast(WordTag(), hn::TableLookupBytes(table, hn::BitCast(ByteTag(), index)));
    }

    UnsignedWords m_half4;
    UnsignedWords m_reciprocal;
    UnsignedWords m_shift;
    Bytes m_low;
    Bytes m_high;
};

std::size_t BoundSizesHere(const std::array<FirstCoding, 2>& codings, const FirstCoefficients& firsts,
                           const std::uint16_t* leastBits, std::uint16_t* bytes) {
    const WordTag words;
    const UnsignedWordTag unsignedWords;
    const FirstBounds luminance(codings[0]);
    const FirstBounds chrominance(codings[1]);
    const std::size_t blocks = firsts.BlocksPerMcu();
    std::size_t sum = 0;
    for (std::size_t mcu = 0; mcu < firsts.McuCount(); mcu += hn::Lanes(words)) {
        Words bits = hn::BitCast(words, hn::LoadU(unsignedWords, leastBits + mcu)) + Constant(7);
        for (std::size_t block = 0; block < 2; ++block) {
            const std::int16_t* const first = firsts.Of(block) + mcu;
            bits = bits + chrominance.BitsOf(chrominance.Load(first) - chrominance.Load(first - 1));
        }
        Words last = luminance.Load(firsts.Of(blocks - 1) + mcu - 1);
        for (std::size_t block = 2; block < blocks; ++block) {
            const Words first = luminance.Load(firsts.Of(block) + mcu);
            bits = bits + luminance.BitsOf(first - last);
            last = first;
        }
        const UnsignedWords least = hn::ShiftRight<3>(hn::BitCast(unsignedWords, bits));
        hn::StoreU(least, unsignedWords, bytes + mcu);
    }
    for (std::size_t mcu = 0; mcu < firsts.McuCount(); ++mcu)
        sum += bytes[mcu];
    return sum;
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
