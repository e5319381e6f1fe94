// The names of files that are being written: WriteFile() gives them another one when they are whole.
//
// No state; callable from any thread.
#pragma once

#include <string>
#include <string_view>

namespace lumato {

inline constexpr std::string_view kTemporaryStart = ".lumato-";
inline constexpr std::string_view kTemporaryEnd = ".tmp";

[[nodiscard]] inline std::string TemporaryName(std::string_view middle) {
    std::string name(kTemporaryStart);
    return name.append(middle).append(kTemporaryEnd);
}

// A file of such a name that nobody is writing was left behind by a program that was killed.
[[nodiscard]] inline bool IsTemporaryName(const std::string& name) {
    return name.starts_with(kTemporaryStart) && name.ends_with(kTemporaryEnd);
}

}  // namespace lumato
