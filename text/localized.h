// The texts people see: each looked up at the moment it is shown, with an English default built in.
//
// Callable from any thread once the path of the language file is set.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/file.h"
#include "base/phrase.h"

namespace lumato::text {

// The program's language file, "Language.ini" in the resources folder. Before the first look-up.
void SetLanguageFile(const Path& path);

// The file that came with the program: it gives the texts that the user's file lacks because it came with an
// older one. Without it the built-in texts do. Before the first look-up.
void SetOwnLanguageFile(const Path& path);

// The two-step look-up: the section that key "language_1" of section "language" names (`defaultLanguage`
// without it), then `key` there. All texts UTF-8. The quit confirmation alone gives "" as default language
// and so keeps its built-in texts unless a language is chosen.
[[nodiscard]] std::string Localized(std::string_view key, std::string_view defaultText,
                                    std::string_view defaultLanguage = "English");

// The phrase in the language chosen, with its values.
[[nodiscard]] std::string Localized(const Phrase& phrase);

// One look-up in a named section.
[[nodiscard]] std::string LookUp(std::string_view section, std::string_view key,
                                 std::string_view defaultText);

// A note or a control holds this many bytes of UTF-8.
inline constexpr std::size_t kControlBytes = 511;

// The text as a note or a control can hold it, cut between characters.
[[nodiscard]] std::string FitForControl(std::string text);

}  // namespace lumato::text
