// The decoder's way from coefficients to samples in vectors. The plain twin is inverse_dct.cpp; every sample
// comes out the same.
//
// Included once per vector width. No state; callable from any thread.
#if defined(LUMATO_JPEG_VECTOR_INVERSE) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_INVERSE
#undef LUMATO_JPEG_VECTOR_INVERSE
#else
#define LUMATO_JPEG_VECTOR_INVERSE
#endif

#include "jpeg/chunk.h"
#include "jpeg/inverse_dct.h"
#include "jpeg/vector_blocks.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// (x * constant + 32) >> 6 of inverse_dct.cpp in its low 16 bits, where the constant is 64 * Whole + Part.
template <int Whole, int Part>
HWY_INLINE Words Times64th(Words x) {
    const Words product = hn::MulFixedPoint15(x, Constant(Part * 512));
    return Whole == 1 ? x + product : x + x + product;
}

// a - b, noting in `wrapped` when 16 bits do not hold it: only there the plain form keeps more of them.
HWY_INLINE Words NotingSub(Words a, Words b, Words& wrapped) {
    const Words difference = a - b;
    wrapped = wrapped | (difference ^ hn::SaturatedSub(a, b));
    return difference;
}
HWY_INLINE Words NotingAdd(Words a, Words b, Words& wrapped) {
    const Words sum = a + b;
    wrapped = wrapped | (sum ^ hn::SaturatedAdd(a, b));
    return sum;
}

// How the results of a pass are put together. The column pass stores them in 16 bits, where they may wrap;
// the row pass keeps them whole, which for what becomes of them is the same as ending at the bounds of 16
// bits.
struct Wrapping {
    static HWY_INLINE Words Add(Words a, Words b) { return a + b; }
    static HWY_INLINE Words Sub(Words a, Words b) { return a - b; }
};
struct Saturating {
    static HWY_INLINE Words Add(Words a, Words b) { return hn::SaturatedAdd(a, b); }
    static HWY_INLINE Words Sub(Words a, Words b) { return hn::SaturatedSub(a, b); }
};

// One pass of inverse_dct.cpp over all lanes.
template <class Results>
HWY_INLINE void InversePass(Words (&d)[8], Words& wrapped) {
    const Words even10 = d[0] + d[4];
    const Words even11 = d[0] - d[4];
    const Words even13 = d[2] + d[6];
    const Words even12 = Times64th<1, 91 - 64>(NotingSub(d[2], d[6], wrapped)) - even13;
    const Words tmp0 = even10 + even13;
    const Words tmp3 = even10 - even13;
    const Words tmp1 = even11 + even12;
    const Words tmp2 = even11 - even12;

    const Words z13 = d[5] + d[3];
    const Words z10 = d[5] - d[3];
    const Words z11 = d[1] + d[7];
    const Words z12 = d[1] - d[7];
    const Words tmp7 = z11 + z13;
    const Words odd11 = Times64th<1, 91 - 64>(NotingSub(z11, z13, wrapped));
    const Words z5 = Times64th<2, 118 - 128>(NotingAdd(z10, z12, wrapped));
    const Words odd10 = Times64th<1, 69 - 64>(z12) - z5;
    const Words odd12 = z5 - Times64th<2, 167 - 128>(z10);
    const Words tmp6 = odd12 - tmp7;
    const Words tmp5 = odd11 - tmp6;
    const Words tmp4 = odd10 + tmp5;

    d[0] = Results::Add(tmp0, tmp7);
    d[7] = Results::Sub(tmp0, tmp7);
    d[1] = Results::Add(tmp1, tmp6);
    d[6] = Results::Sub(tmp1, tmp6);
    d[2] = Results::Add(tmp2, tmp5);
    d[5] = Results::Sub(tmp2, tmp5);
    d[4] = Results::Add(tmp3, tmp4);
    d[3] = Results::Sub(tmp3, tmp4);
}

// Samples from the results of both passes, still in words.
HWY_INLINE Words Rounded(Words result) {
    return hn::ShiftRight<3>(hn::SaturatedAdd(result, Constant(4))) + Constant(128);
}

// Blocks of which only the first coefficients are not 0 have one value everywhere.
HWY_INLINE void FillGroup(Words firstRow, std::uint8_t* samples) {
    alignas(16) static constexpr std::uint8_t kFirstWord[16] = {0, 1, 0, 1, 0, 1, 0, 1,
                                                                0, 1, 0, 1, 0, 1, 0, 1};
    const auto everywhere = hn::BitCast(ByteTag(), hn::LoadDup128(ByteTag(), kFirstWord));
    const Words values =
        hn::BitCast(WordTag(), hn::TableLookupBytes(hn::BitCast(ByteTag(), Rounded(firstRow)), everywhere));
    const auto row = hn::DemoteTo(HalfByteTag(), values);
    for (std::size_t y = 0; y < 8; ++y)
        hn::StoreU(row, HalfByteTag(), samples + y * kChunkColumns);
}

// True when of every block of the group only the first coefficient is not 0.
HWY_INLINE bool IsFlat(const Words (&d)[8]) {
    const WordTag words;
    alignas(16) static constexpr std::int16_t kAllButFirst[8] = {0, -1, -1, -1, -1, -1, -1, -1};
    Words rest = d[0] & hn::LoadDup128(words, kAllButFirst);
    for (std::size_t row = 1; row < 8; ++row)
        rest = rest | d[row];
    return hn::AllTrue(words, rest == hn::Zero(words));
}

// Transforms a group of dequantized blocks into samples, kChunkColumns bytes per row. False, with samples
// that do not count, when values leave the range in which this form is exact: only damaged blocks have such
// values.
HWY_INLINE bool InverseGroup(const std::int16_t* coefficients, std::uint8_t* samples) {
    const WordTag words;
    Words d[8];
    for (std::size_t row = 0; row < 8; ++row)
        d[row] = hn::LoadU(words, coefficients + row * hn::Lanes(words));
    if (IsFlat(d)) {
        FillGroup(d[0], samples);
        return true;
    }
    Words wrapped = hn::Zero(words);
    InversePass<Wrapping>(d, wrapped);
    Transpose(d);
    InversePass<Saturating>(d, wrapped);
    for (Words& row : d)
        row = Rounded(row);
    Transpose(d);
    for (std::size_t row = 0; row < 8; ++row)
        hn::StoreU(hn::DemoteTo(HalfByteTag(), d[row]), HalfByteTag(), samples + row * kChunkColumns);
    return hn::AllTrue(words, wrapped == hn::Zero(words));
}

HWY_NOINLINE void InverseGroupPlainly(const std::int16_t* coefficients, std::uint8_t* samples) {
    for (std::size_t block = 0; block < kGroup; ++block) {
        std::int16_t natural[64];
        for (std::size_t k = 0; k < 64; ++k)
            natural[k] = coefficients[block * 8 + k / 8 * (8 * kGroup) + k % 8];
        idct_int(natural, samples + block * 8, kChunkColumns);
    }
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
