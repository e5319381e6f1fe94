// Texts of the command line as values. Numbers are decimal, whole texts, and inside of what they may be; only
// addresses and sizes of a new frame's flash may be 0x hex.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumato::cli {

// Both ends belong to it.
struct Range {
    long long least = 0;
    long long most = 0;
};
// "0 to 255".
[[nodiscard]] std::string Text(Range range);

inline constexpr Range kPositions{1, 65535};

// What every function gives for a text that is no such value.
template <class T>
using Parsed = std::optional<T>;

[[nodiscard]] Parsed<int> ParseWhole(std::string_view text, Range range);
// With a fraction or without.
[[nodiscard]] Parsed<double> ParseReal(std::string_view text, double least, double most);
// As many reals as `count`, with commas between them.
[[nodiscard]] Parsed<std::vector<float>> ParseReals(std::string_view text, std::size_t count, double most);

// Decimal, or hex behind 0x.
[[nodiscard]] Parsed<std::uint64_t> ParseAddress(std::string_view text);
// The same; a decimal number may end in K or M.
[[nodiscard]] Parsed<std::uint64_t> ParseBytes(std::string_view text);
// A byte in hex, with or without 0x.
[[nodiscard]] Parsed<std::uint8_t> ParseHexByte(std::string_view text);

struct Size {
    int width = 0;
    int height = 0;
};
// "320x240".
[[nodiscard]] Parsed<Size> ParseSize(std::string_view text);

}  // namespace lumato::cli
