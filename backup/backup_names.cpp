#include "backup/backup_names.h"

#include <cctype>
#include <cstdio>

namespace lumato::backup {
namespace {

constexpr std::string_view kStreams = "streams/";
constexpr std::string_view kStreamEnding = ".stream";
constexpr std::size_t kMostShown = 60;

std::string NumberedName(std::string_view folder, int number, std::string_view shown,
                         std::string_view ending) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%03d-", number);
    std::string name = std::string(folder) + digits;
    for (const char c : shown.substr(0, std::min(shown.rfind('.'), kMostShown))) {
        const bool plain =
            std::isalnum(static_cast<unsigned char>(c)) != 0 && static_cast<unsigned char>(c) < 0x80;
        if (plain || !name.ends_with('-'))
            name += plain ? c : '-';
    }
    return name.append(ending);
}

}  // namespace

std::string StreamName(int number, std::string_view shown) {
    return NumberedName(kStreams, number, shown, kStreamEnding);
}

std::string PreviewName(int number, std::string_view shown) {
    return NumberedName("pictures/", number, shown, ".jpg");
}

bool IsStreamName(std::string_view name) {
    return name.starts_with(kStreams) && name.ends_with(kStreamEnding) &&
           name.size() > kStreams.size() + kStreamEnding.size() &&
           name.find('/', kStreams.size()) == std::string_view::npos;
}

std::string ShownName(std::string_view streamName) {
    std::string_view shown = streamName.substr(kStreams.size());
    shown.remove_suffix(kStreamEnding.size());
    const std::size_t dash = shown.find('-');
    return std::string(dash + 1 < shown.size() ? shown.substr(dash + 1) : shown);
}

}  // namespace lumato::backup
