#include "text/utf16.h"

#include "base/utf8.h"

namespace lumato::text {
namespace {

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::string Utf8FromUtf16(std::u16string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]);
        if (!pair) {
            AppendUtf8(result, text[i]);  // which replaces a lone surrogate
            continue;
        }
        const char32_t high = text[i] - 0xD800U;
        const char32_t low = text[i + 1] - 0xDC00U;
        AppendUtf8(result, 0x10000U + (high << 10 | low));
        ++i;
    }
    return result;
}

std::u16string Utf16FromUtf8(std::string_view text) {
    std::u16string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Utf8Character character = FirstUtf8Character(text);
        if (character.codePoint < 0x10000) {
            result += static_cast<char16_t>(character.codePoint);
        } else {
            const char32_t offset = character.codePoint - 0x10000;
            result += static_cast<char16_t>(0xD800 + (offset >> 10));
            result += static_cast<char16_t>(0xDC00 + (offset & 0x3FF));
        }
        text.remove_prefix(character.length);
    }
    return result;
}

}  // namespace lumato::text
