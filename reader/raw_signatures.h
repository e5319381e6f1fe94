// How cameras' raw files begin, where they are no ordinary TIFF files on the outside. No state.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace lumato::reader {

// Of the first 16 bytes or more.
[[nodiscard]] inline bool IsRawSignature(std::string_view start) {
    using namespace std::string_view_literals;
    // Fujifilm, Panasonic, Olympus (three), Minolta, Sigma, Canon before TIFF.
    constexpr std::string_view kStarts[] = {"FUJIFILMCCD-RAW"sv, "IIU\0"sv, "IIRO"sv, "IIRS"sv, "MMOR"sv,
                                            "\0MRM"sv,           "FOVb"sv};
    return std::ranges::any_of(kStarts,
                               [start](std::string_view known) { return start.starts_with(known); }) ||
           start.substr(std::min<std::size_t>(start.size(), 6), 8) == "HEAPCCDR"sv ||
           start.substr(std::min<std::size_t>(start.size(), 4), 8) == "ftypcrx "sv;
}

}  // namespace lumato::reader
