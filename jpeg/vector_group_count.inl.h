// What the blocks of a group take behind their first coefficients, in two forms: block by block, and, where
// the processor can move bytes within a whole block, without any loop over its coefficients.
//
// Included once per vector width.
#if defined(LUMATO_JPEG_VECTOR_GROUP_COUNT) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_GROUP_COUNT
#undef LUMATO_JPEG_VECTOR_GROUP_COUNT
#else
#define LUMATO_JPEG_VECTOR_GROUP_COUNT
#endif

#include "jpeg/count_tables.h"
#include "jpeg/vector_code.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// From the block's values or their magnitudes, and its mask in the order of the scan.
HWY_INLINE SizeBits CountBlock(const SizeCodes& sizes, const std::int16_t* block, std::uint64_t mask) {
    SizeBits bits;
    unsigned last = 0;
    for (mask &= ~std::uint64_t{1}; mask != 0; mask &= mask - 1) {
        const auto place = static_cast<unsigned>(std::countr_zero(mask));
        bits += sizes.Value(place - last - 1, block[ScanOffsets<kGroup>[place]]);
        last = place;
    }
    bits += sizes.Tail(63 - last);
    return bits;
}

#if HWY_TARGET == HWY_AVX3_DL

class GroupCounter {
  public:
    explicit GroupCounter(const FastCoding& coding)
        : m_coding(coding),
          m_exact(LoadTable(coding.sizes->ExactBytes())),
          m_least(LoadTable(coding.sizes->LeastBytes())) {}

    // Of the group's first `blocks` blocks. `first`: their first coefficients, quantized.
    HWY_INLINE void Count(const std::int16_t* group, std::size_t blocks, SizeBits* bits,
                          std::int16_t* first) const {
        alignas(64) std::int16_t magnitudes[64 * kGroup];
        Block looked[kGroup];
        Quantize(group, magnitudes, looked);
        alignas(64) std::uint64_t sums[8];
        _mm512_store_si512(sums, SumsOf(looked));
        for (std::size_t block = 0; block < blocks; ++block) {
            const std::uint64_t mask = looked[block].mask;
            if (looked[block].isOdd) {
                bits[block] = CountOdd(magnitudes + block * 8, mask);
            } else {
                bits[block] = {static_cast<std::uint32_t>(sums[block / 2 * 4 + block % 2])};
                bits[block] += m_coding.sizes->Tail(static_cast<unsigned>(std::countl_zero(mask | 1)));
            }
            const int magnitude = magnitudes[block * 8];
            first[block] = static_cast<std::int16_t>(group[block * 8] < 0 ? -magnitude : magnitude);
        }
    }

  private:
    struct Table {
        __m512i low;
        __m512i high;
    };
    struct Block {
        __m512i sums;        // SizeBits in parts
        std::uint64_t mask;  // in the order of the scan, without the first coefficient
        bool isOdd;          // has a run or a category for which the tables have no room
    };

    static HWY_INLINE __m512i LoadBytes(const std::array<std::uint8_t, 64>& bytes) {
        return _mm512_load_si512(bytes.data());
    }
    static HWY_INLINE Table LoadTable(const std::array<std::uint8_t, 128>& bytes) {
        return {_mm512_load_si512(bytes.data()), _mm512_load_si512(bytes.data() + 64)};
    }

    HWY_INLINE void Quantize(const std::int16_t* group, std::int16_t* magnitudes, Block* looked) const {
        const WordTag words;
        __m512i rows[8];
        for (std::size_t row = 0; row < 8; ++row) {
            rows[row] =
                RowMagnitudes(m_coding.quantizer, row, hn::LoadU(words, group + row * 8 * kGroup)).raw;
            _mm512_store_si512(magnitudes + row * 8 * kGroup, rows[row]);
        }
        // Chrominance has often nothing but first coefficients.
        const __m512i any = _mm512_or_si512(
            _mm512_or_si512(_mm512_or_si512(_mm512_maskz_mov_epi16(0xFEFEFEFE, rows[0]), rows[1]),
                            _mm512_or_si512(rows[2], rows[3])),
            _mm512_or_si512(_mm512_or_si512(rows[4], rows[5]), _mm512_or_si512(rows[6], rows[7])));
        if (_mm512_test_epi16_mask(any, any) == 0) {
            std::fill_n(looked, kGroup, Block{_mm512_setzero_si512(), 0, false});
            return;
        }
        // Blocks lie side by side, 128 bits of each: the rows of one are brought together.
        const __m512i rows01 = _mm512_packus_epi16(rows[0], rows[1]);
        const __m512i rows23 = _mm512_packus_epi16(rows[2], rows[3]);
        const __m512i rows45 = _mm512_packus_epi16(rows[4], rows[5]);
        const __m512i rows67 = _mm512_packus_epi16(rows[6], rows[7]);
        const __m512i evenAbove = _mm512_shuffle_i64x2(rows01, rows23, 0x88);
        const __m512i evenBelow = _mm512_shuffle_i64x2(rows45, rows67, 0x88);
        const __m512i oddAbove = _mm512_shuffle_i64x2(rows01, rows23, 0xDD);
        const __m512i oddBelow = _mm512_shuffle_i64x2(rows45, rows67, 0xDD);
        looked[0] = Look(_mm512_shuffle_i64x2(evenAbove, evenBelow, 0x88));
        looked[1] = Look(_mm512_shuffle_i64x2(oddAbove, oddBelow, 0x88));
        looked[2] = Look(_mm512_shuffle_i64x2(evenAbove, evenBelow, 0xDD));
        looked[3] = Look(_mm512_shuffle_i64x2(oddAbove, oddBelow, 0xDD));
    }

    // Moves the coefficients that are not 0 together, and looks them all up by their runs and categories.
    HWY_INLINE Block Look(__m512i block) const {
        const __m512i scan = _mm512_permutexvar_epi8(LoadBytes(kCountTables.scan), block);
        const std::uint64_t mask = _mm512_test_epi8_mask(scan, scan) & ~std::uint64_t{1};
        const Table categories = LoadTable(kCountTables.categories);
        const __m512i category =
            _mm512_maskz_compress_epi8(mask, _mm512_permutex2var_epi8(categories.low, scan, categories.high));
        const __m512i places = _mm512_maskz_compress_epi8(mask, LoadBytes(kCountTables.places));
        const __m512i before =
            _mm512_maskz_permutexvar_epi8(~std::uint64_t{1}, LoadBytes(kCountTables.before), places);
        const __m512i runs = _mm512_sub_epi8(_mm512_sub_epi8(places, before), _mm512_set1_epi8(1));
        const __m512i index = _mm512_add_epi8(_mm512_slli_epi16(category, 4), runs);
        const std::uint64_t values = _bzhi_u64(~std::uint64_t{0}, static_cast<unsigned>(std::popcount(mask)));
        const std::uint64_t large = _mm512_movepi8_mask(scan) & mask;
        const std::uint64_t longRuns = _mm512_mask_cmpgt_epu8_mask(values, runs, _mm512_set1_epi8(15));
        const auto sum = [&](const Table& table) {
            return _mm512_sad_epu8(_mm512_maskz_permutex2var_epi8(values, table.low, index, table.high),
                                   _mm512_setzero_si512());
        };
        return {_mm512_add_epi64(sum(m_exact), _mm512_slli_epi64(sum(m_least), 16)), mask,
                (large | longRuns) != 0};
    }

    // Those of blocks 0 to 3 in numbers 0, 1, 4 and 5.
    static HWY_INLINE __m512i SumsOf(const Block* looked) {
        const auto pair = [&](std::size_t a, std::size_t b) {
            return _mm512_add_epi64(_mm512_unpacklo_epi64(looked[a].sums, looked[b].sums),
                                    _mm512_unpackhi_epi64(looked[a].sums, looked[b].sums));
        };
        const __m512i pairs01 = pair(0, 1);
        const __m512i pairs23 = pair(2, 3);
        const __m512i halves = _mm512_add_epi64(_mm512_shuffle_i64x2(pairs01, pairs23, 0x88),
                                                _mm512_shuffle_i64x2(pairs01, pairs23, 0xDD));
        return _mm512_add_epi64(halves, _mm512_shuffle_i64x2(halves, halves, 0xB1));
    }

    HWY_NOINLINE SizeBits CountOdd(const std::int16_t* magnitudes, std::uint64_t mask) const {
        return CountBlock(*m_coding.sizes, magnitudes, mask);
    }

    const FastCoding& m_coding;
    Table m_exact;
    Table m_least;
};

#else

class GroupCounter {
  public:
    explicit GroupCounter(const FastCoding& coding) : m_coding(coding) {}

    HWY_INLINE void Count(const std::int16_t* group, std::size_t blocks, SizeBits* bits,
                          std::int16_t* first) const {
        alignas(64) std::int16_t quantized[64 * kGroup];
        GroupMasks masks;
        QuantizeGroup(m_coding.quantizer, group, quantized, masks);
        for (std::size_t block = 0; block < blocks; ++block) {
            const std::int16_t* const coefficients = quantized + block * 8;
            bits[block] = CountBlock(*m_coding.sizes, coefficients, ScanMask<kGroup>(masks.rows + block));
            first[block] = coefficients[0];
        }
    }

  private:
    const FastCoding& m_coding;
};

#endif

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
