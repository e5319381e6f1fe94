#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "picture/resample_vectors.cpp"
#include "picture/resample_vectors.h"

#include <cstring>

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace lumato::picture::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// At most 256 bits: four pixels, as many as every row has room for.
using WordTag = hn::CappedTag<std::int16_t, kTapGroup * kChannels>;
using PairTag = hn::Repartition<std::int32_t, WordTag>;
using HalfByteTag = hn::Rebind<std::uint8_t, WordTag>;
using Words = hn::Vec<WordTag>;
using Pairs = hn::Vec<PairTag>;

constexpr std::size_t kWords = hn::MaxLanes(WordTag());
constexpr std::size_t kPixels = kWords / kChannels;  // in a vector

HWY_INLINE Words PromoteBytes(const std::uint8_t* bytes) {
    return hn::PromoteTo(WordTag(), hn::LoadU(HalfByteTag(), bytes));
}

// The same two weights everywhere.
HWY_INLINE Words WeightPair(const std::int16_t* weights) {
    std::int32_t pair;
    std::memcpy(&pair, weights, sizeof pair);
    return hn::BitCast(WordTag(), hn::Set(PairTag(), pair));
}

// Sums of products of neighbouring words.
struct PairSums {
    Pairs first;
    Pairs second;

    HWY_INLINE PairSums() : first(hn::Zero(PairTag())), second(hn::Zero(PairTag())) {}
    HWY_INLINE void Add(Words words, Words weights) {
        first = hn::ReorderWidenMulAccumulate(PairTag(), words, weights, first, second);
    }
    [[nodiscard]] HWY_INLINE Pairs Get() const { return hn::RearrangeToOddPlusEven(first, second); }
};

template <int kShift>
HWY_INLINE Pairs Rounded(Pairs sum) {
    return hn::ShiftRight<kShift>(sum + hn::Set(PairTag(), 1 << (kShift - 1)));
}

// One vector of a combined row: `count` rows (even), the next one `stride` bytes on.
HWY_INLINE Words CombineDown(const std::uint8_t* source, std::size_t stride, const std::int16_t* weights,
                             std::size_t count) {
    const WordTag words;
    PairSums lower;
    PairSums upper;
    std::size_t k = 0;
    for (; k + 1 < count; k += 2, source += 2 * stride) {
        const Words first = PromoteBytes(source);
        const Words second = PromoteBytes(source + stride);
        const Words pair = WeightPair(weights + k);
        lower.Add(hn::InterleaveLower(words, first, second), pair);
        upper.Add(hn::InterleaveUpper(words, first, second), pair);
    }
    if (k < count) {
        const Words last = PromoteBytes(source);
        const Words weight = hn::Set(words, weights[k]);
        const Words zero = hn::Zero(words);
        lower.Add(hn::InterleaveLower(words, last, zero), weight);
        upper.Add(hn::InterleaveUpper(words, last, zero), weight);
    }
    constexpr int kShift = kWeightBits - kExtraBits;
    // The halves of each 128 bits that were interleaved are put side by side again.
    return hn::ReorderDemote2To(words, Rounded<kShift>(lower.Get()), Rounded<kShift>(upper.Get()));
}

// Neighbouring pixels' words side by side, channel by channel.
HWY_INLINE Words PairPixels(Words pixels) {
    return hn::InterleaveLower(WordTag(), pixels, hn::ShiftRightBytes<8>(WordTag(), pixels));
}

using PixelTag = hn::CappedTag<std::int32_t, kChannels>;

template <class Sums>
HWY_INLINE hn::Vec<PixelTag> AddPixels(Sums sums) {
    if constexpr (kPixels == 4)
        return hn::LowerHalf(sums) + hn::UpperHalf(PixelTag(), sums);
    else
        return sums;
}

// Makes bytes of the sum of a vector's pixels.
HWY_INLINE void StorePixel(Pairs sums, std::uint8_t* out) {
    constexpr int kShift = kWeightBits + kExtraBits;
    const hn::Rebind<std::uint8_t, PixelTag> bytes;
    const auto pixel = AddPixels(sums) + hn::Set(PixelTag(), 1 << (kShift - 1));
    hn::StoreU(hn::DemoteTo(bytes, hn::ShiftRight<kShift>(pixel)), bytes, out);
}

std::size_t CombineRowsHere(const std::uint8_t* source, std::size_t stride,
                            std::span<const std::int16_t> weights, std::size_t count, std::int16_t* out) {
    std::size_t i = 0;
    for (; i + kWords <= count; i += kWords)
        hn::StoreU(CombineDown(source + i, stride, weights.data(), weights.size()), WordTag(), out + i);
    return i;
}

// Every pair of weights four times, for the channels of two pixels.
HWY_INLINE Words SpreadWeights(const std::int16_t* weights) {
    if constexpr (kPixels == 2)
        return WeightPair(weights);
    alignas(32) static constexpr std::uint8_t kPlaces[32] = {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3,
                                                             4, 5, 6, 7, 4, 5, 6, 7, 4, 5, 6, 7, 4, 5, 6, 7};
    const hn::Repartition<std::int64_t, WordTag> quads;
    const hn::Repartition<std::uint8_t, WordTag> bytes;
    std::int64_t four;
    std::memcpy(&four, weights, sizeof four);
    return hn::BitCast(
        WordTag(), hn::TableLookupBytes(hn::BitCast(bytes, hn::Set(quads, four)), hn::Load(bytes, kPlaces)));
}

void CombineColumnsHere(const std::int16_t* row, const AxisTaps& taps, std::uint8_t* out) {
    const std::int16_t* weights = taps.weights.data();
    const auto width = static_cast<std::size_t>(taps.paddedWidth);
    const int firstHeld = taps.FirstHeld();
    for (int i = 0; i < taps.count; ++i, weights += width, out += kChannels) {
        const int first = taps.first[static_cast<std::size_t>(i)] - firstHeld;
        const std::int16_t* pixels = row + static_cast<std::size_t>(first) * kChannels;
        PairSums sum;
        for (std::size_t k = 0; k < width; k += kPixels)
            sum.Add(PairPixels(hn::LoadU(WordTag(), pixels + k * kChannels)), SpreadWeights(weights + k));
        StorePixel(sum.Get(), out);
    }
}

void CombineBlocksHere(PixelBlockReader& reader, const PositionRun& run, std::size_t count,
                       std::uint8_t* out) {
    const std::size_t width = reader.Width();
    const std::size_t height = reader.Height();
    std::int64_t u = run.u;
    std::int64_t v = run.v;
    for (std::size_t i = 0; i < count; ++i, u += run.uStep, v += run.vStep, out += kChannels) {
        const PixelBlock block = reader.At(u, v);
        PairSums sum;
        for (std::size_t k = 0; k < width; k += kPixels) {
            const Words line = CombineDown(block.pixels + k * kChannels, block.stride, block.down, height);
            sum.Add(PairPixels(line), hn::LoadU(WordTag(), block.across + k * kChannels));
        }
        StorePixel(sum.Get(), out);
    }
}

}  // namespace lumato::picture::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#else
// A processor without vectors: nobody comes here.
namespace lumato::picture::HWY_NAMESPACE {
std::size_t CombineRowsHere(const std::uint8_t*, std::size_t, std::span<const std::int16_t>, std::size_t,
                            std::int16_t*) {
    return 0;
}
void CombineColumnsHere(const std::int16_t*, const AxisTaps&, std::uint8_t*) {}
void CombineBlocksHere(PixelBlockReader&, const PositionRun&, std::size_t, std::uint8_t*) {}
}  // namespace lumato::picture::HWY_NAMESPACE
#endif

#if HWY_ONCE
namespace lumato::picture {

HWY_EXPORT(CombineRowsHere);
HWY_EXPORT(CombineColumnsHere);
HWY_EXPORT(CombineBlocksHere);

std::size_t CombineRowsInVectors(const std::uint8_t* source, std::size_t stride,
                                 std::span<const std::int16_t> weights, std::size_t count,
                                 std::int16_t* out) {
    return HWY_DYNAMIC_DISPATCH(CombineRowsHere)(source, stride, weights, count, out);
}

void CombineColumnsInVectors(const std::int16_t* row, const AxisTaps& taps, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(CombineColumnsHere)(row, taps, out);
}

void CombineBlocksInVectors(PixelBlockReader& reader, const PositionRun& run, std::size_t count,
                            std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(CombineBlocksHere)(reader, run, count, out);
}

}  // namespace lumato::picture
#endif
