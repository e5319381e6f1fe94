#include "cli/values.h"

#include <charconv>
#include <limits>

namespace lumato::cli {
namespace {

constexpr Range kSides{1, 65535};

// The whole text, in the way of std::from_chars: no blank, no plus sign, no other base than was asked for.
template <class T, class... Form>
Parsed<T> ParseAll(std::string_view text, Form... form) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value, form...);
    if (error != std::errc() || stopped != end)
        return std::nullopt;
    return value;
}

bool IsHex(std::string_view text) {
    return text.starts_with("0x") || text.starts_with("0X");
}

}  // namespace

std::string Text(Range range) {
    return std::to_string(range.least) + " to " + std::to_string(range.most);
}

Parsed<int> ParseWhole(std::string_view text, Range range) {
    const auto value = ParseAll<long long>(text, 10);
    if (!value || *value < range.least || *value > range.most)
        return std::nullopt;
    return static_cast<int>(*value);
}

Parsed<double> ParseReal(std::string_view text, double least, double most) {
    const auto value = ParseAll<double>(text, std::chars_format::general);
    if (!value || !(*value >= least && *value <= most))  // what is no number is in no range
        return std::nullopt;
    return value;
}

Parsed<std::vector<float>> ParseReals(std::string_view text, std::size_t count, double most) {
    std::vector<float> values;
    for (std::size_t comma = 0; comma != std::string_view::npos;) {
        comma = text.find(',');
        const auto value = ParseReal(text.substr(0, comma), -most, most);
        if (!value || values.size() == count)
            return std::nullopt;
        values.push_back(static_cast<float>(*value));
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return values.size() == count ? Parsed<std::vector<float>>(std::move(values)) : std::nullopt;
}

Parsed<std::uint64_t> ParseAddress(std::string_view text) {
    return IsHex(text) ? ParseAll<std::uint64_t>(text.substr(2), 16) : ParseAll<std::uint64_t>(text, 10);
}

Parsed<std::uint64_t> ParseBytes(std::string_view text) {
    std::uint64_t unit = 1;
    if (!IsHex(text) && (text.ends_with('K') || text.ends_with('k')))
        unit = 1024;
    if (!IsHex(text) && (text.ends_with('M') || text.ends_with('m')))
        unit = 1024 * 1024;
    if (unit != 1)
        text.remove_suffix(1);
    const auto number = ParseAddress(text);
    if (!number || *number > std::numeric_limits<std::uint64_t>::max() / unit)
        return std::nullopt;
    return *number * unit;
}

Parsed<std::uint8_t> ParseHexByte(std::string_view text) {
    return ParseAll<std::uint8_t>(IsHex(text) ? text.substr(2) : text, 16);
}

Parsed<Size> ParseSize(std::string_view text) {
    const std::size_t cross = text.find_first_of("xX");
    if (cross == std::string_view::npos)
        return std::nullopt;
    const auto width = ParseWhole(text.substr(0, cross), kSides);
    const auto height = ParseWhole(text.substr(cross + 1), kSides);
    if (!width || !height)
        return std::nullopt;
    return Size{*width, *height};
}

}  // namespace lumato::cli
