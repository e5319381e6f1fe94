#include "picture/resample_kernels.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lumato::picture {
namespace {

constexpr int kRowShift = kWeightBits - kExtraBits;

void CombineRowsPlainly(const std::uint8_t* source, std::size_t stride, std::span<const std::int16_t> weights,
                        std::size_t from, std::size_t to, std::int16_t* out) {
    for (std::size_t i = from; i < to; ++i) {
        std::int32_t sum = 1 << (kRowShift - 1);
        for (std::size_t k = 0; k < weights.size(); ++k)
            sum += weights[k] * source[k * stride + i];
        out[i] = static_cast<std::int16_t>(sum >> kRowShift);
    }
}

#if defined(__SSE2__)

__m128i Load(const void* address) {
    return _mm_loadu_si128(static_cast<const __m128i*>(address));
}

// Two 16-bit weights, side by side in every 32-bit lane.
__m128i WeightPair(std::int16_t first, std::int16_t second) {
    const auto low = static_cast<std::uint32_t>(static_cast<std::uint16_t>(first));
    const auto high = static_cast<std::uint32_t>(static_cast<std::uint16_t>(second));
    return _mm_set1_epi32(static_cast<int>(low | high << 16));
}

// Sums of 16 bytes, two rows at a time, in four registers of four.
struct SixteenSums {
    __m128i lane[4];

    void Add(__m128i firstRow, __m128i secondRow, __m128i weights) {
        const __m128i zero = _mm_setzero_si128();
        const __m128i low = _mm_unpacklo_epi8(firstRow, secondRow);
        const __m128i high = _mm_unpackhi_epi8(firstRow, secondRow);
        AddTo(lane[0], _mm_unpacklo_epi8(low, zero), weights);
        AddTo(lane[1], _mm_unpackhi_epi8(low, zero), weights);
        AddTo(lane[2], _mm_unpacklo_epi8(high, zero), weights);
        AddTo(lane[3], _mm_unpackhi_epi8(high, zero), weights);
    }
    static void AddTo(__m128i& sum, __m128i pairs, __m128i weights) {
        sum = _mm_add_epi32(sum, _mm_madd_epi16(pairs, weights));
    }
};

// As many whole blocks of 16 bytes as there are; returns how many bytes that were.
std::size_t CombineRowBlocks(const std::uint8_t* source, std::size_t stride,
                             std::span<const std::int16_t> weights, std::size_t count, std::int16_t* out) {
    std::size_t i = 0;
    const __m128i half = _mm_set1_epi32(1 << (kRowShift - 1));
    for (; i + 16 <= count; i += 16) {
        SixteenSums sums{{half, half, half, half}};
        const std::uint8_t* row = source + i;
        std::size_t k = 0;
        for (; k + 1 < weights.size(); k += 2, row += 2 * stride)
            sums.Add(Load(row), Load(row + stride), WeightPair(weights[k], weights[k + 1]));
        if (k < weights.size())
            sums.Add(Load(row), _mm_setzero_si128(), WeightPair(weights[k], 0));
        for (__m128i& sum : sums.lane)
            sum = _mm_srai_epi32(sum, kRowShift);
        auto* target = reinterpret_cast<__m128i*>(out + i);
        _mm_storeu_si128(target, _mm_packs_epi32(sums.lane[0], sums.lane[1]));
        _mm_storeu_si128(target + 1, _mm_packs_epi32(sums.lane[2], sums.lane[3]));
    }
    return i;
}

#else

std::size_t CombineRowBlocks(const std::uint8_t*, std::size_t, std::span<const std::int16_t>, std::size_t,
                             std::int16_t*) {
    return 0;
}

#endif

}  // namespace

void CombineRows(const std::uint8_t* source, std::size_t stride, std::span<const std::int16_t> weights,
                 std::size_t count, std::int16_t* out) {
    const std::size_t done = CombineRowBlocks(source, stride, weights, count, out);
    CombineRowsPlainly(source, stride, weights, done, count, out);
}

#if defined(__SSE2__)

void CombinePixels(const std::int16_t* row, std::span<const std::int16_t> weights,
                   std::int32_t sum[kChannels]) {
    __m128i total = _mm_setzero_si128();
    for (std::size_t k = 0; k < weights.size(); k += 2, row += std::size_t{2} * kChannels) {
        const __m128i two = Load(row);
        const __m128i pairs = _mm_unpacklo_epi16(two, _mm_srli_si128(two, 8));
        total = _mm_add_epi32(total, _mm_madd_epi16(pairs, WeightPair(weights[k], weights[k + 1])));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sum), total);
}

void CombineBlock(const std::uint8_t* block, std::size_t stride, std::span<const std::int16_t> across,
                  std::span<const std::int16_t> down, float sum[kChannels]) {
    const __m128i zero = _mm_setzero_si128();
    __m128 total = _mm_setzero_ps();
    for (std::size_t r = 0; r < down.size(); ++r, block += stride) {
        __m128i rowSum = zero;
        for (std::size_t k = 0; k < across.size(); k += 2) {
            const auto* two = reinterpret_cast<const __m128i*>(block + k * kChannels);
            const __m128i wide = _mm_unpacklo_epi8(_mm_loadl_epi64(two), zero);
            const __m128i pairs = _mm_unpacklo_epi16(wide, _mm_srli_si128(wide, 8));
            rowSum = _mm_add_epi32(rowSum, _mm_madd_epi16(pairs, WeightPair(across[k], across[k + 1])));
        }
        const __m128 weight = _mm_set1_ps(static_cast<float>(down[r]) / (1 << kWeightBits));
        total = _mm_add_ps(total, _mm_mul_ps(_mm_cvtepi32_ps(rowSum), weight));
    }
    _mm_storeu_ps(sum, total);
}

#else

void CombinePixels(const std::int16_t* row, std::span<const std::int16_t> weights,
                   std::int32_t sum[kChannels]) {
    std::memset(sum, 0, sizeof(std::int32_t) * kChannels);
    for (const std::int16_t weight : weights)
        for (int c = 0; c < kChannels; ++c)
            sum[c] += weight * *row++;
}

void CombineBlock(const std::uint8_t* block, std::size_t stride, std::span<const std::int16_t> across,
                  std::span<const std::int16_t> down, float sum[kChannels]) {
    for (int c = 0; c < kChannels; ++c) {
        sum[c] = 0;
        for (std::size_t r = 0; r < down.size(); ++r) {
            std::int32_t rowSum = 0;
            for (std::size_t k = 0; k < across.size(); ++k)
                rowSum += across[k] * block[r * stride + k * kChannels + static_cast<std::size_t>(c)];
            sum[c] += static_cast<float>(rowSum) * (static_cast<float>(down[r]) / (1 << kWeightBits));
        }
    }
}

#endif

}  // namespace lumato::picture
