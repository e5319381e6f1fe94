// The encoder's way from pixels to coefficients in vectors: colours and forward transform of a chunk. The
// plain twins are mcu_samples.cpp and forward_dct.cpp; every integer comes out the same.
//
// Included once per vector width. No state; callable from any thread.
#if defined(LUMATO_JPEG_VECTOR_FORWARD) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_FORWARD
#undef LUMATO_JPEG_VECTOR_FORWARD
#else
#define LUMATO_JPEG_VECTOR_FORWARD
#endif

#include "jpeg/chunk.h"
#include "jpeg/vector_blocks.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// The sums of mcu_samples.cpp hold 24 bits. Here each constant is split into 256 * high + low, and the
// weights of a chrominance value or of Y are made to add up to a power of two, so that differences of colours
// remain: floor((256 * a + b) / 65536) is floor((a + floor(b / 256)) / 256), and all of it fits 16 bits.
HWY_INLINE Words LuminanceOf(Words b, Words g, Words r) {
    const Words redder = r - g;
    const Words bluer = b - g;
    const Words low = Times(bluer, 47) - Times(redder, 117);
    const Words high = Times(redder, 77) + Times(bluer, 29) + Constant(128);
    return g + hn::ShiftRight<8>(high + hn::ShiftRight<8>(low));
}
HWY_INLINE Words CbOf(Words b, Words g, Words r) {
    const Words low = Times(g - r, 51) + Constant(255);
    const Words high = Times(b - r, 43) + Times(b - g, 85) + Constant(127);
    return hn::ShiftRight<8>(high + hn::ShiftRight<8>(low));
}
HWY_INLINE Words CrOf(Words b, Words g, Words r) {
    const Words low = Times(b - g, 47) + Constant(255);
    const Words high = Times(r - g, 107) + Times(r - b, 21) + Constant(127);
    return hn::ShiftRight<8>(high + hn::ShiftRight<8>(low));
}

// The colours of a vector of pixels, those in even columns and those in odd ones apart.
struct SplitPixels {
    Words b[2];
    Words g[2];
    Words r[2];
};

HWY_INLINE SplitPixels LoadPixels(const std::uint8_t* pixels) {
    const ByteTag bytes;
    Bytes b;
    Bytes g;
    Bytes r;
    hn::LoadInterleaved3(bytes, pixels, b, g, r);
    return {{EvenBytes(b), OddBytes(b)}, {EvenBytes(g), OddBytes(g)}, {EvenBytes(r), OddBytes(r)}};
}

HWY_INLINE void StoreSamples(Words even, Words odd, std::uint8_t* samples) {
    hn::StoreU(JoinBytes(even, odd), ByteTag(), samples);
}

// Converts one row of a chunk. Samples come without level shift; of the chrominance `cb` and `cr` get what is
// sampled, in a row that is not sampled they are null. `columns`: rounded up to whole vectors.
template <bool Wide>
HWY_INLINE void ConvertRow(const std::uint8_t* pixels, std::size_t columns, std::uint8_t* luma,
                           std::uint8_t* cb, std::uint8_t* cr) {
    const Words shift = Constant(128);
    for (std::size_t x = 0; x < columns; x += hn::Lanes(ByteTag())) {
        const SplitPixels p = LoadPixels(pixels + 3 * x);
        StoreSamples(LuminanceOf(p.b[0], p.g[0], p.r[0]), LuminanceOf(p.b[1], p.g[1], p.r[1]), luma + x);
        if (cb == nullptr)
            continue;
        const Words evenCb = CbOf(p.b[0], p.g[0], p.r[0]) + shift;
        const Words evenCr = CrOf(p.b[0], p.g[0], p.r[0]) + shift;
        if constexpr (Wide) {
            hn::StoreU(hn::DemoteTo(HalfByteTag(), evenCb), HalfByteTag(), cb + x / 2);
            hn::StoreU(hn::DemoteTo(HalfByteTag(), evenCr), HalfByteTag(), cr + x / 2);
        } else {
            StoreSamples(evenCb, CbOf(p.b[1], p.g[1], p.r[1]) + shift, cb + x);
            StoreSamples(evenCr, CrOf(p.b[1], p.g[1], p.r[1]) + shift, cr + x);
        }
    }
}

// (x * constant) >> 8 of forward_dct.cpp, where the constant is 256 * whole + part.
template <int Whole, int Part>
HWY_INLINE Words Times256th(Words x) {
    const Words product = hn::MulHigh(x, Constant(Part * 256));
    return Whole == 0 ? product : x + product;
}

// One pass of forward_dct.cpp over all lanes. Its values fit 16 bits.
HWY_INLINE void ForwardPass(Words (&d)[8]) {
    const Words tmp0 = d[0] + d[7];
    const Words tmp7 = d[0] - d[7];
    const Words tmp1 = d[1] + d[6];
    const Words tmp6 = d[1] - d[6];
    const Words tmp2 = d[2] + d[5];
    const Words tmp5 = d[2] - d[5];
    const Words tmp3 = d[3] + d[4];
    const Words tmp4 = d[3] - d[4];

    const Words even10 = tmp0 + tmp3;
    const Words even13 = tmp0 - tmp3;
    const Words even11 = tmp1 + tmp2;
    const Words even12 = tmp1 - tmp2;
    const Words z1 = Times256th<1, 181 - 256>(even12 + even13);
    d[0] = even10 + even11;
    d[4] = even10 - even11;
    d[2] = even13 + z1;
    d[6] = even13 - z1;

    const Words odd10 = tmp4 + tmp5;
    const Words odd11 = tmp5 + tmp6;
    const Words odd12 = tmp6 + tmp7;
    const Words z5 = Times256th<0, 98>(odd10 - odd12);
    const Words z2 = Times256th<1, 139 - 256>(odd10) + z5;
    const Words z4 = Times256th<1, 334 - 256>(odd12) + z5;
    const Words z3 = Times256th<1, 181 - 256>(odd11);
    const Words z11 = tmp7 + z3;
    const Words z13 = tmp7 - z3;
    d[5] = z13 + z2;
    d[3] = z13 - z2;
    d[1] = z11 + z4;
    d[7] = z11 - z4;
}

// Transforms `blocks` blocks that lie side by side in `samples` (kChunkColumns bytes per row).
HWY_INLINE void ForwardBlocks(const std::uint8_t* samples, std::size_t blocks, std::int16_t* coefficients) {
    const WordTag words;
    const std::size_t lanes = hn::Lanes(words);
    for (std::size_t x = 0; x < blocks * 8; x += lanes, coefficients += 8 * lanes) {
        Words d[8];
        for (std::size_t row = 0; row < 8; ++row)
            d[row] = PromoteBytes(samples + row * kChunkColumns + x) - Constant(128);
        Transpose(d);
        ForwardPass(d);
        Transpose(d);
        ForwardPass(d);
        for (std::size_t row = 0; row < 8; ++row)
            hn::StoreU(d[row], words, coefficients + row * lanes);
    }
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
