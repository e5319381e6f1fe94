#include "base/printable.h"

#include <cstdint>

#include "base/utf8.h"

namespace lumato {
namespace {

bool IsShown(char32_t codePoint) {
    const bool control = codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
    const bool lineBreak = codePoint == 0x2028 || codePoint == 0x2029;
    const bool direction =
        (codePoint >= 0x202A && codePoint <= 0x202E) || (codePoint >= 0x2066 && codePoint <= 0x2069);
    return !control && !lineBreak && !direction;
}

void AppendEscaped(std::string& text, char byte) {
    constexpr std::string_view kHex = "0123456789ABCDEF";
    const auto value = static_cast<std::uint8_t>(byte);
    switch (byte) {
        case '\n':
            text += "\\n";
            break;
        case '\t':
            text += "\\t";
            break;
        case '\r':
            text += "\\r";
            break;
        default:
            text += "\\x";
            text += kHex[value >> 4];
            text += kHex[value & 15];
    }
}

}  // namespace

std::string Printable(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Utf8Character character = FirstUtf8Character(bytes);
        const std::string_view piece = bytes.substr(0, character.length);
        if (character.valid && IsShown(character.codePoint)) {
            text += piece;
        } else {
            for (const char byte : piece)
                AppendEscaped(text, byte);
        }
        bytes.remove_prefix(character.length);
    }
    return text;
}

}  // namespace lumato
