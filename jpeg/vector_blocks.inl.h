// What both directions of the vector forms share: vectors of 16-bit lanes and of bytes, and the transposition
// of blocks.
//
// Included once per vector width. No state; callable from any thread.
#if defined(LUMATO_JPEG_VECTOR_BLOCKS) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMATO_JPEG_VECTOR_BLOCKS
#undef LUMATO_JPEG_VECTOR_BLOCKS
#else
#define LUMATO_JPEG_VECTOR_BLOCKS
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// At most 512 bits: a chunk divides into such vectors.
using WordTag = hn::CappedTag<std::int16_t, 32>;
using UnsignedWordTag = hn::CappedTag<std::uint16_t, 32>;
using PairTag = hn::Repartition<std::int32_t, WordTag>;
using QuadTag = hn::Repartition<std::int64_t, WordTag>;
using ByteTag = hn::Repartition<std::uint8_t, WordTag>;
using HalfByteTag = hn::Rebind<std::uint8_t, WordTag>;
using Words = hn::Vec<WordTag>;
using UnsignedWords = hn::Vec<UnsignedWordTag>;
using Bytes = hn::Vec<ByteTag>;

// Blocks whose rows fill a vector.
constexpr std::size_t kGroup = hn::MaxLanes(WordTag()) / 8;

HWY_INLINE Words Constant(int value) {
    return hn::Set(WordTag(), static_cast<std::int16_t>(value));
}
HWY_INLINE Words Times(Words x, int constant) {
    return x * Constant(constant);
}
HWY_INLINE Words PromoteBytes(const std::uint8_t* bytes) {
    return hn::PromoteTo(WordTag(), hn::LoadU(HalfByteTag(), bytes));
}

// Bytes in even and odd places as words of 0 to 255, and back.
HWY_INLINE Words EvenBytes(Bytes bytes) {
    return hn::BitCast(WordTag(), bytes) & Constant(0xFF);
}
HWY_INLINE Words OddBytes(Bytes bytes) {
    return hn::BitCast(WordTag(), hn::ShiftRight<8>(hn::BitCast(UnsignedWordTag(), bytes)));
}
HWY_INLINE Bytes JoinBytes(Words even, Words odd) {
    return hn::BitCast(ByteTag(), even | hn::ShiftLeft<8>(odd));
}

template <class Tag>
HWY_INLINE Words Lower(Tag tag, Words a, Words b) {
    return hn::BitCast(WordTag(), hn::InterleaveLower(tag, hn::BitCast(tag, a), hn::BitCast(tag, b)));
}
template <class Tag>
HWY_INLINE Words Upper(Tag tag, Words a, Words b) {
    return hn::BitCast(WordTag(), hn::InterleaveUpper(tag, hn::BitCast(tag, a), hn::BitCast(tag, b)));
}

// Transposes every block of the group.
HWY_INLINE void Transpose(Words (&d)[8]) {
    Words a[8];
    Words b[8];
    for (std::size_t i = 0; i < 4; ++i) {
        a[2 * i] = Lower(WordTag(), d[2 * i], d[2 * i + 1]);
        a[2 * i + 1] = Upper(WordTag(), d[2 * i], d[2 * i + 1]);
    }
    for (std::size_t i = 0; i < 8; i += 4) {
        b[i] = Lower(PairTag(), a[i], a[i + 2]);
        b[i + 1] = Upper(PairTag(), a[i], a[i + 2]);
        b[i + 2] = Lower(PairTag(), a[i + 1], a[i + 3]);
        b[i + 3] = Upper(PairTag(), a[i + 1], a[i + 3]);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        d[2 * i] = Lower(QuadTag(), b[i], b[i + 4]);
        d[2 * i + 1] = Upper(QuadTag(), b[i], b[i + 4]);
    }
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
