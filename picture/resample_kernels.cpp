#include "picture/resample_kernels.h"

#include "jpeg/codec_form.h"
#include "picture/resample_vectors.h"

namespace lumato::picture {
namespace {

constexpr int kRowShift = kWeightBits - kExtraBits;

// sum / 2^(kWeightBits + kExtraBits), rounded, within 0..255.
std::uint8_t RoundToByte(std::int32_t sum) {
    constexpr int kBits = kWeightBits + kExtraBits;
    return static_cast<std::uint8_t>(std::clamp((sum + (1 << (kBits - 1))) >> kBits, 0, 255));
}

std::int16_t CombineDown(const std::uint8_t* source, std::size_t stride, const std::int16_t* weights,
                         std::size_t count) {
    std::int32_t sum = 1 << (kRowShift - 1);
    for (std::size_t k = 0; k < count; ++k)
        sum += weights[k] * source[k * stride];
    return static_cast<std::int16_t>(sum >> kRowShift);
}

void CombineColumnsPlainly(const std::int16_t* row, const AxisTaps& taps, std::uint8_t* out) {
    const int firstHeld = taps.FirstHeld();
    for (int i = 0; i < taps.count; ++i) {
        const auto weights = taps.Weights(i);
        const int first = taps.first[static_cast<std::size_t>(i)] - firstHeld;
        const std::int16_t* pixels = row + static_cast<std::size_t>(first) * kChannels;
        for (std::size_t c = 0; c < kChannels; ++c) {
            std::int32_t sum = 0;
            for (std::size_t k = 0; k < weights.size(); ++k)
                sum += weights[k] * pixels[k * kChannels + c];
            *out++ = RoundToByte(sum);
        }
    }
}

void CombineBlocksPlainly(PixelBlockReader& reader, const PositionRun& run, std::size_t count,
                          std::uint8_t* out) {
    std::int64_t u = run.u;
    std::int64_t v = run.v;
    for (std::size_t i = 0; i < count; ++i, u += run.uStep, v += run.vStep) {
        const PixelBlock block = reader.At(u, v);
        for (std::size_t c = 0; c < kChannels; ++c) {
            std::int32_t sum = 0;
            for (std::size_t k = 0; k < reader.Width(); ++k)
                sum +=
                    CombineDown(block.pixels + k * kChannels + c, block.stride, block.down, reader.Height()) *
                    block.across[k / 2 * 2 * kChannels + k % 2];
            *out++ = RoundToByte(sum);
        }
    }
}

}  // namespace

void CombineRows(const std::uint8_t* source, std::size_t stride, std::span<const std::int16_t> weights,
                 std::size_t count, std::int16_t* out) {
    std::size_t i = 0;
    if (jpeg::UsesVectors())
        i = CombineRowsInVectors(source, stride, weights, count, out);
    for (; i < count; ++i)
        out[i] = CombineDown(source + i, stride, weights.data(), weights.size());
}

void CombineColumns(const std::int16_t* row, const AxisTaps& taps, std::uint8_t* out) {
    if (jpeg::UsesVectors())
        CombineColumnsInVectors(row, taps, out);
    else
        CombineColumnsPlainly(row, taps, out);
}

void CombineBlocks(PixelBlockReader& reader, const PositionRun& run, std::size_t count, std::uint8_t* out) {
    if (jpeg::UsesVectors())
        CombineBlocksInVectors(reader, run, count, out);
    else
        CombineBlocksPlainly(reader, run, count, out);
}

}  // namespace lumato::picture
