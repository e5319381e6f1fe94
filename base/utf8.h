// UTF-8, one character at a time, for text that may hold anything: file names and files are not always UTF-8.
//
// No state; callable from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace lumato {

// Stands for what cannot be decoded.
inline constexpr char32_t kReplacementCharacter = 0xFFFD;

struct Utf8Character {
    char32_t codePoint = kReplacementCharacter;
    std::size_t length = 1;  // bytes; 1 for a byte that begins no character
    bool valid = false;
};

// The character at the start of `text`. Overlong forms, surrogates, values beyond U+10FFFF and sequences cut
// short are invalid (RFC 3629). Requires: `text` is not empty.
[[nodiscard]] Utf8Character FirstUtf8Character(std::string_view text);

// Appends one character; a surrogate or a value beyond U+10FFFF becomes U+FFFD.
void AppendUtf8(std::string& text, char32_t codePoint);

}  // namespace lumato
