// The window's texts: each looked up at the moment it is shown, so that another language takes effect at
// once.
//
// Callable from any thread once the path of the language file is set.
#pragma once

#include <QPalette>
#include <QString>
#include <string_view>

#include "base/file.h"
#include "base/phrase.h"

namespace lumato::app {

// The text of `key` in the language chosen, else `defaultText`.
[[nodiscard]] QString Localized(std::string_view key, std::string_view defaultText);

// The text with `value` in the place of its "{}".
[[nodiscard]] QString LocalizedWith(const char* key, const char* defaultText, const QString& value);

// What another room says, or a text with values.
[[nodiscard]] QString Localized(const Phrase& phrase);

// A file's name as it may be shown.
[[nodiscard]] QString ShownName(const Path& file);

// The colour of what is said quietly, on windows and in views alike: no palette that desktops give has one
// that can be read on all of them.
inline constexpr float kQuietness = 0.7F;
[[nodiscard]] QColor QuietColor(const QPalette& palette);

[[nodiscard]] Path PathOf(const QString& file);
[[nodiscard]] QString FromPath(const Path& file);

}  // namespace lumato::app
