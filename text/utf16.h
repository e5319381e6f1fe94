// The border between the program's UTF-8 and the language file's UTF-16.
//
// No state; callable from any thread.
#pragma once

#include <string>
#include <string_view>

namespace lumato::text {

// A lone surrogate becomes U+FFFD.
[[nodiscard]] std::string Utf8FromUtf16(std::u16string_view text);

// A byte that belongs to no UTF-8 character becomes U+FFFD.
[[nodiscard]] std::u16string Utf16FromUtf8(std::string_view text);

}  // namespace lumato::text
