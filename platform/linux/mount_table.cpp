#include "platform/linux/mount_table.h"

#include <algorithm>
#include <optional>
#include <sstream>

namespace lumato::platform {
namespace {

bool IsOctal(char c) {
    return c >= '0' && c <= '7';
}

// Blanks, tabs, line breaks and backslashes are written as a backslash and three octal digits.
std::string Unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && text.size() - i > 3 && IsOctal(text[i + 1]) &&
                            IsOctal(text[i + 2]) && IsOctal(text[i + 3]);
        if (!escape) {
            plain += text[i];
            continue;
        }
        const int value = (text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0');
        plain += static_cast<char>(value);
        i += 3;
    }
    return plain;
}

// "id parent major:minor root mountpoint options optional... - type source options"
std::optional<Mount> ParseLine(const std::string& line) {
    std::istringstream words(line);
    std::string word, mountPoint;
    words >> word >> word >> word >> word >> mountPoint;
    while (words >> word && word != "-") {
    }
    std::string type, source;
    if (!(words >> type >> source) || !source.starts_with("/dev/"))
        return std::nullopt;
    return Mount{.source = Unescaped(source), .root = Unescaped(mountPoint), .fileSystem = std::move(type)};
}

}  // namespace

std::vector<Mount> ParseMountTable(std::string_view text) {
    std::vector<Mount> mounts;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::optional<Mount> mount = ParseLine(line);
        const auto sameSource = [&](const Mount& other) { return other.source == mount->source; };
        if (mount && std::ranges::none_of(mounts, sameSource))
            mounts.push_back(std::move(*mount));
    }
    return mounts;
}

}  // namespace lumato::platform
