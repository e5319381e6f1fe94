// TIFF files of one colour, of any kind of samples; and what cameras make of TIFF.
#pragma once

#include <bit>
#include <utility>
#include <vector>

#include "base/bytes.h"

namespace lumato::test {

// Types: 1 and 7 bytes, 2 text, 3 shorts, 4 longs, 10 fractions (two longs each).
struct TiffField {
    std::uint32_t tag, type;
    std::vector<std::uint32_t> values;
};

// Puts a directory at the end of the file; returns where. Fields ascend.
inline std::uint32_t AppendDirectory(std::vector<std::uint8_t>& file, const std::vector<TiffField>& fields) {
    const auto put = [&file](std::uint32_t value, std::uint32_t bytes) {
        for (std::uint32_t at = 0; at < bytes; ++at)
            file.push_back(static_cast<std::uint8_t>(value >> 8 * at));
    };
    const auto sizeOf = [](std::uint32_t type) { return type == 3 ? 2U : type == 4 || type == 10 ? 4U : 1U; };
    const auto length = [&](const TiffField& field) {
        return static_cast<std::uint32_t>(field.values.size()) * sizeOf(field.type);
    };
    const auto begin = static_cast<std::uint32_t>(file.size());
    auto beyond = static_cast<std::uint32_t>(begin + 2 + 12 * fields.size() + 4);
    put(static_cast<std::uint32_t>(fields.size()), 2);
    for (const TiffField& field : fields) {
        put(field.tag, 2);
        put(field.type, 2);
        put(static_cast<std::uint32_t>(field.values.size()) / (field.type == 10 ? 2 : 1), 4);
        if (length(field) > 4) {
            put(beyond, 4);
            beyond += length(field);
            continue;
        }
        for (const std::uint32_t value : field.values)
            put(value, sizeOf(field.type));
        put(0, 4 - length(field));
    }
    put(0, 4);
    for (const TiffField& field : fields)
        for (const std::uint32_t value : field.values)
            if (length(field) > 4)
                put(value, sizeOf(field.type));
    return begin;
}

// The file's first directory.
inline void AppendFirstDirectory(std::vector<std::uint8_t>& file, const std::vector<TiffField>& fields) {
    const std::uint32_t at = AppendDirectory(file, fields);
    PutLe32(MutableByteSpan(file).subspan(4), at);
}

struct TiffOptions {
    std::uint32_t photometric = 2;
    std::uint32_t bits = 8;
    std::uint32_t format = 1;                                     // 1 unsigned, 2 signed, 3 floating-point
    double white = 1;                                             // of floating-point samples
    std::vector<std::uint32_t> extra{};                           // what the last samples are
    std::vector<std::pair<std::uint32_t, std::uint32_t>> more{};  // tags, between 280 and 337
    std::vector<std::uint8_t> profile{};
};

inline void PutSample(std::vector<std::uint8_t>& to, double value, const TiffOptions& options) {
    const double span = std::ldexp(1, static_cast<int>(options.bits)) - 1;
    const double least = options.format == 2 ? -(span + 1) / 2 : 0;
    std::uint64_t bits = 0;
    if (options.format == 3 && options.bits == 64)
        bits = std::bit_cast<std::uint64_t>(value * options.white);
    else if (options.format == 3)
        bits = std::bit_cast<std::uint32_t>(static_cast<float>(value * options.white));
    else if (options.bits < 64)
        bits = static_cast<std::uint64_t>(std::llround(least + value * span));
    for (std::uint32_t at = 0; at < options.bits; at += 8)
        to.push_back(static_cast<std::uint8_t>(bits >> at));
}

inline const std::vector<std::uint8_t> kTiffStart = {'I', 'I', 42, 0, 0, 0, 0, 0};

// 4 x 4 pixels of these samples, from 0 to 1.
inline std::vector<std::uint8_t> MakeTiff(const std::vector<double>& pixel, const TiffOptions& options) {
    constexpr std::uint32_t kSide = 4;
    std::vector<std::uint8_t> file = kTiffStart;
    for (std::uint32_t i = 0; i < kSide * kSide; ++i)
        for (const double value : pixel)
            PutSample(file, value, options);
    const auto samples = static_cast<std::uint32_t>(pixel.size());
    std::vector<TiffField> fields = {{256, 4, {kSide}},
                                     {257, 4, {kSide}},
                                     {258, 3, std::vector(samples, options.bits)},
                                     {259, 3, {1}},
                                     {262, 3, {options.photometric}},
                                     {273, 4, {8}},
                                     {277, 3, {samples}},
                                     {278, 4, {kSide}},
                                     {279, 4, {static_cast<std::uint32_t>(file.size() - 8)}}};
    for (const auto& [tag, value] : options.more)
        fields.push_back({tag, 3, {value}});
    if (!options.extra.empty())
        fields.push_back({338, 3, options.extra});
    fields.push_back({339, 3, std::vector(samples, options.format)});
    if (!options.profile.empty())
        fields.push_back({34675, 7, {options.profile.begin(), options.profile.end()}});
    AppendFirstDirectory(file, fields);
    return file;
}

struct RawOptions {
    bool isDng = true;  // or one that tells itself by how it is coded alone
    std::uint32_t orientation = 1;
    std::uint32_t previewWidth = 0, previewHeight = 0;
};

// What a camera writes: a red thumbnail of 16 x 12 pixels, and below it the sensor's pixels and the preview,
// if there is one.
inline std::vector<std::uint8_t> MakeRaw(const std::vector<std::uint8_t>& preview,
                                         const RawOptions& options) {
    constexpr std::uint32_t kWidth = 64, kHeight = 48, kThumbnail = 16 * 12;
    std::vector<std::uint8_t> file = kTiffStart;
    for (std::uint32_t i = 0; i < kWidth * kHeight; ++i)
        file.insert(file.end(), {static_cast<std::uint8_t>(i * 37), static_cast<std::uint8_t>(i % 16)});
    const auto thumbnail = static_cast<std::uint32_t>(file.size());
    for (std::uint32_t i = 0; i < kThumbnail; ++i)
        file.insert(file.end(), {255, 0, 0});
    const auto jpeg = static_cast<std::uint32_t>(file.size());
    const auto jpegSize = static_cast<std::uint32_t>(preview.size());
    file.insert(file.end(), preview.begin(), preview.end());
    const auto picture = [](std::uint32_t width, std::uint32_t height, std::uint32_t coding,
                            std::uint32_t photometric, std::uint32_t at, std::uint32_t size) {
        const bool isCfa = photometric == 32803;
        return std::vector<TiffField>{{254, 4, {isCfa ? 0U : 1U}},
                                      {256, 4, {width}},
                                      {257, 4, {height}},
                                      {258, 3, isCfa ? std::vector{16U} : std::vector{8U, 8U, 8U}},
                                      {259, 3, {coding}},
                                      {262, 3, {photometric}},
                                      {273, 4, {at}},
                                      {277, 3, {isCfa ? 1U : 3U}},
                                      {278, 4, {height}},
                                      {279, 4, {size}}};
    };
    std::vector<TiffField> sensor = picture(kWidth, kHeight, 1, 32803, 8, kWidth * kHeight * 2);
    sensor.insert(sensor.end(), {{33421, 3, {2, 2}}, {33422, 1, {0, 1, 1, 2}}});
    std::vector<std::uint32_t> below{AppendDirectory(file, sensor)};
    if (!preview.empty())
        below.push_back(AppendDirectory(
            file, picture(options.previewWidth, options.previewHeight, 7, 6, jpeg, jpegSize)));
    std::vector<TiffField> first = picture(16, 12, 1, 2, thumbnail, kThumbnail * 3);
    first.insert(first.begin() + 6, {{271, 2, {'M', 'a', 'k', 'e', 'r', 0}}, {272, 2, {'O', 'n', 'e', 0}}});
    first.insert(first.begin() + 9, {274, 3, {options.orientation}});
    first.push_back({330, 4, below});
    if (options.isDng)
        first.insert(first.end(), {{50706, 1, {1, 4, 0, 0}},
                                   {50708, 2, {'O', 'n', 'e', 0}},
                                   {50721, 10, {1, 1, 0, 1, 0, 1, 0, 1, 1, 1, 0, 1, 0, 1, 0, 1, 1, 1}}});
    AppendFirstDirectory(file, first);
    return file;
}

}  // namespace lumato::test
