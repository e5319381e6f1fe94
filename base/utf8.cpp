#include "base/utf8.h"

#include <cstdint>

namespace lumato {
namespace {

struct LeadByte {
    std::size_t length;
    char32_t bits;      // the bits of the code point that the lead byte carries
    char32_t smallest;  // a smaller value in this length is an overlong form
};

LeadByte Classify(std::uint8_t byte) {
    if (byte < 0x80)
        return {1, byte, 0};
    if (byte >= 0xC0 && byte < 0xE0)
        return {2, byte & 0x1FU, 0x80};
    if (byte >= 0xE0 && byte < 0xF0)
        return {3, byte & 0x0FU, 0x800};
    if (byte >= 0xF0 && byte < 0xF8)
        return {4, byte & 0x07U, 0x10000};
    return {0, 0, 0};
}

bool IsScalarValue(char32_t codePoint) {
    return codePoint < 0xD800 || (codePoint > 0xDFFF && codePoint <= 0x10FFFF);
}

char ByteOf(char32_t value) {
    return static_cast<char>(static_cast<std::uint8_t>(value));
}

}  // namespace

Utf8Character FirstUtf8Character(std::string_view text) {
    const LeadByte lead = Classify(static_cast<std::uint8_t>(text[0]));
    if (lead.length == 0 || lead.length > text.size())
        return {};
    char32_t codePoint = lead.bits;
    for (std::size_t i = 1; i < lead.length; ++i) {
        const auto byte = static_cast<std::uint8_t>(text[i]);
        if ((byte & 0xC0) != 0x80)
            return {};
        codePoint = codePoint << 6 | (byte & 0x3FU);
    }
    if (codePoint < lead.smallest || !IsScalarValue(codePoint))
        return {};
    return {codePoint, lead.length, true};
}

void AppendUtf8(std::string& text, char32_t codePoint) {
    if (!IsScalarValue(codePoint))
        codePoint = kReplacementCharacter;
    if (codePoint < 0x80) {
        text += ByteOf(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        text += ByteOf(0xC0 | codePoint >> 6);
    } else if (codePoint < 0x10000) {
        text += ByteOf(0xE0 | codePoint >> 12);
        text += ByteOf(0x80 | (codePoint >> 6 & 0x3F));
    } else {
        text += ByteOf(0xF0 | codePoint >> 18);
        text += ByteOf(0x80 | (codePoint >> 12 & 0x3F));
        text += ByteOf(0x80 | (codePoint >> 6 & 0x3F));
    }
    text += ByteOf(0x80 | (codePoint & 0x3F));
}

}  // namespace lumato
