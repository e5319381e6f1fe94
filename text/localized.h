// The texts people see: each looked up at the moment it is shown, with an English default built in.
//
// Callable from any thread once the path of the language file is set.
#pragma once

#include <string>
#include <string_view>

#include "base/file.h"

namespace lumato::text {

// The program's language file, "Language.ini" in the resources folder. Before the first look-up.
void SetLanguageFile(const Path& path);

// The two-step look-up: the section that key "language_1" of section "language" names ("English" without it),
// then `key` there. All texts UTF-8.
[[nodiscard]] std::string Localized(std::string_view key, std::string_view defaultText);

// One look-up in a named section.
[[nodiscard]] std::string LookUp(std::string_view section, std::string_view key,
                                 std::string_view defaultText);

// The text as a note or a control can hold it: at most 511 bytes, cut between characters.
[[nodiscard]] std::string FitForControl(std::string text);

}  // namespace lumato::text
