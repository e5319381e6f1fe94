// The decoder's way from samples to pixels in vectors. The plain twin is in decode_plainly.cpp.
//
// Included once per vector width. No state; callable from any thread.
#if defined(LUMATO_JPEG_VECTOR_PAINT) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_PAINT
#undef LUMATO_JPEG_VECTOR_PAINT
#else
#define LUMATO_JPEG_VECTOR_PAINT
#endif

#include <algorithm>
#include <cstring>

#include "jpeg/chunk.h"
#include "jpeg/decode_loops.h"
#include "jpeg/vector_blocks.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

// What chrominance adds to a pixel's luminance in each colour. 1024 * luminance divides by 1024 without
// remainder, so it can be left out of decode_plainly.cpp's sums; and with a constant split into 32 * high +
// low, floor((32 * a + b) / 1024) is floor((a + floor(b / 32)) / 32), which fits 16 bits.
struct ColourTerms {
    Words b;
    Words g;
    Words r;
};

HWY_INLINE ColourTerms TermsOf(Words cb, Words cr) {
    cb = cb - Constant(128);
    cr = cr - Constant(128);
    const Words half = Constant(16);
    return {hn::ShiftRight<5>(Times(cb, 57) + half + hn::ShiftRight<5>(Times(cb, -9))),
            hn::ShiftRight<5>(half - Times(cb, 11) - Times(cr, 23) + hn::ShiftRight<5>(Times(cr, 5))),
            hn::ShiftRight<5>(Times(cr, 45) + half + hn::ShiftRight<5>(Times(cr, -4)))};
}

// A term of either sign for every pixel of a vector, in bytes: one of the two is 0.
struct ByteTerm {
    Bytes more;
    Bytes less;

    HWY_INLINE Bytes AddedTo(Bytes luma) const {
        return hn::SaturatedSub(hn::SaturatedAdd(luma, more), less);
    }
};

HWY_INLINE ByteTerm Joined(Words even, Words odd) {
    const Words zero = hn::Zero(WordTag());
    return {JoinBytes(hn::Max(even, zero), hn::Max(odd, zero)),
            JoinBytes(hn::Max(zero - even, zero), hn::Max(zero - odd, zero))};
}

struct ByteTerms {
    ByteTerm b;
    ByteTerm g;
    ByteTerm r;
};

// The terms of the vector of pixels whose chrominance begins at `cb` and `cr`.
template <bool Wide>
HWY_INLINE ByteTerms LoadTerms(const std::uint8_t* cb, const std::uint8_t* cr) {
    if constexpr (Wide) {
        const ColourTerms both = TermsOf(PromoteBytes(cb), PromoteBytes(cr));
        return {Joined(both.b, both.b), Joined(both.g, both.g), Joined(both.r, both.r)};
    } else {
        const Bytes cbs = hn::LoadU(ByteTag(), cb);
        const Bytes crs = hn::LoadU(ByteTag(), cr);
        const ColourTerms even = TermsOf(EvenBytes(cbs), EvenBytes(crs));
        const ColourTerms odd = TermsOf(OddBytes(cbs), OddBytes(crs));
        return {Joined(even.b, odd.b), Joined(even.g, odd.g), Joined(even.r, odd.r)};
    }
}

// Paints a vector of pixels, of which `columns` count.
HWY_INLINE void PaintVector(const std::uint8_t* luma, const ByteTerms& terms, std::size_t columns,
                            std::uint8_t* pixels) {
    const ByteTag bytes;
    const Bytes y = hn::LoadU(bytes, luma);
    const Bytes b = terms.b.AddedTo(y);
    const Bytes g = terms.g.AddedTo(y);
    const Bytes r = terms.r.AddedTo(y);
    if (columns >= hn::Lanes(bytes)) {
        hn::StoreInterleaved3(b, g, r, bytes, pixels);
        return;
    }
    std::uint8_t whole[3 * hn::MaxLanes(ByteTag())];
    hn::StoreInterleaved3(b, g, r, bytes, whole);
    std::memcpy(pixels, whole, columns * 3);
}

// Paints the rows that share a row of chrominance.
template <bool Wide>
HWY_INLINE void PaintRows(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr,
                          std::size_t rows, std::size_t columns, std::uint8_t* pixels, std::size_t rowBytes) {
    const std::size_t lanes = hn::Lanes(ByteTag());
    for (std::size_t x = 0; x < columns; x += lanes) {
        const std::size_t chroma = Wide ? x / 2 : x;
        const ByteTerms terms = LoadTerms<Wide>(cb + chroma, cr + chroma);
        PaintVector(luma + x, terms, columns - x, pixels + x * 3);
        if (rows > 1)
            PaintVector(luma + kChunkColumns + x, terms, columns - x, pixels + rowBytes + x * 3);
    }
}

template <bool Wide>
HWY_INLINE void PaintChunk(const ChunkSamples& samples, const McuGrid& grid, const ChunkArea& area) {
    const std::size_t step = grid.tall ? 2 : 1;
    for (std::size_t row = 0; row < area.rows; row += step) {
        const std::size_t chroma = row / step * kChunkColumns;
        PaintRows<Wide>(samples.luma + row * kChunkColumns, samples.cb + chroma, samples.cr + chroma,
                        std::min(step, area.rows - row), area.columns, area.pixels + row * area.rowBytes,
                        area.rowBytes);
    }
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
