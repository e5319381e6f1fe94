// What stands in a backup under which name (backup_file.h).
//
// No state; callable from any thread.
#pragma once

#include <string>
#include <string_view>

namespace lumato::backup {

inline constexpr const char* kBackupFormat = "lumato-backup";
inline constexpr int kBackupVersion = 1;
inline constexpr const char* kManifestName = "manifest.json";
inline constexpr const char* kSumsName = "SHA256SUMS";

// `shown`: what people call the picture. Only letters and digits of it come into names: any system takes
// them.
[[nodiscard]] std::string StreamName(int number, std::string_view shown);
[[nodiscard]] std::string PreviewName(int number, std::string_view shown);
[[nodiscard]] bool IsStreamName(std::string_view name);
// "tower" of "streams/001-tower.stream".
[[nodiscard]] std::string ShownName(std::string_view streamName);

}  // namespace lumato::backup
