// TIFF files of one colour, of any kind of samples.
#pragma once

#include <bit>
#include <cmath>
#include <utility>
#include <vector>

#include "base/bytes.h"

namespace lumato::test {

struct TiffOptions {
    std::uint32_t photometric = 2;
    std::uint32_t bits = 8;
    std::uint32_t format = 1;                                     // 1 unsigned, 2 signed, 3 floating-point
    double white = 1;                                             // of floating-point samples
    std::vector<std::uint32_t> extra{};                           // what the last samples are
    std::vector<std::pair<std::uint32_t, std::uint32_t>> more{};  // tags, ascending, behind all others
    std::vector<std::uint8_t> profile{};
};

inline void PutSample(std::vector<std::uint8_t>& to, double value, const TiffOptions& options) {
    const double span = std::ldexp(1, static_cast<int>(options.bits)) - 1;
    const double least = options.format == 2 ? -(span + 1) / 2 : 0;
    std::uint64_t bits = static_cast<std::uint64_t>(std::llround(least + value * span));
    if (options.format == 3 && options.bits == 64)
        bits = std::bit_cast<std::uint64_t>(value * options.white);
    else if (options.format == 3)
        bits = std::bit_cast<std::uint32_t>(static_cast<float>(value * options.white));
    for (std::uint32_t at = 0; at < options.bits; at += 8)
        to.push_back(static_cast<std::uint8_t>(bits >> at));
}

// 4 x 4 pixels of these samples, from 0 to 1.
inline std::vector<std::uint8_t> MakeTiff(const std::vector<double>& pixel, const TiffOptions& options) {
    constexpr std::uint32_t kSide = 4;
    std::vector<std::uint8_t> strip;
    for (std::uint32_t i = 0; i < kSide * kSide; ++i)
        for (const double value : pixel)
            PutSample(strip, value, options);
    const auto samples = static_cast<std::uint32_t>(pixel.size());
    struct Field {
        std::uint32_t tag, type;
        std::vector<std::uint32_t> values;
    };
    std::vector<Field> fields = {{256, 4, {kSide}},
                                 {257, 4, {kSide}},
                                 {258, 3, std::vector(samples, options.bits)},
                                 {259, 3, {1}},
                                 {262, 3, {options.photometric}},
                                 {273, 4, {8}},
                                 {277, 3, {samples}},
                                 {278, 4, {kSide}},
                                 {279, 4, {static_cast<std::uint32_t>(strip.size())}}};
    for (const auto& [tag, value] : options.more)
        fields.push_back({tag, 3, {value}});
    if (!options.extra.empty())
        fields.push_back({338, 3, options.extra});
    fields.push_back({339, 3, std::vector(samples, options.format)});
    if (!options.profile.empty())
        fields.push_back({34675, 7, {options.profile.begin(), options.profile.end()}});

    std::vector<std::uint8_t> file = {'I', 'I', 42, 0, 0, 0, 0, 0};
    file.insert(file.end(), strip.begin(), strip.end());
    const auto put = [&file](std::uint32_t value, std::uint32_t bytes) {
        for (std::uint32_t at = 0; at < bytes; ++at)
            file.push_back(static_cast<std::uint8_t>(value >> 8 * at));
    };
    PutLe32(MutableByteSpan(file).subspan(4), static_cast<std::uint32_t>(file.size()));
    std::uint32_t pool = static_cast<std::uint32_t>(file.size() + 2 + 12 * fields.size() + 4);
    put(static_cast<std::uint32_t>(fields.size()), 2);
    const auto sizeOf = [](std::uint32_t type) { return type == 3 ? 2U : type == 4 ? 4U : 1U; };
    const auto length = [&](const Field& field) {
        return static_cast<std::uint32_t>(field.values.size()) * sizeOf(field.type);
    };
    for (const Field& field : fields) {
        put(field.tag, 2);
        put(field.type, 2);
        put(static_cast<std::uint32_t>(field.values.size()), 4);
        if (length(field) > 4) {
            put(pool, 4);
            pool += length(field);
            continue;
        }
        for (const std::uint32_t value : field.values)
            put(value, sizeOf(field.type));
        put(0, 4 - length(field));
    }
    put(0, 4);
    for (const Field& field : fields)
        for (const std::uint32_t value : field.values)
            if (length(field) > 4)
                put(value, sizeOf(field.type));
    return file;
}

}  // namespace lumato::test
