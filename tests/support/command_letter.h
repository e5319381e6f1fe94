// The commands that a frame is sent, one letter each, so that a test can show their order in a word.
#pragma once

#include <string_view>

#include "base/bytes.h"

namespace lumato::test {

// (I)nquiry, e(n)able, write (s)tatus, (E)rase, (P)rogram, status poll (?), (R)ead, checksum (=), (C)lock;
// (!) for anything else.
inline char LetterOf(ByteSpan block) {
    if (block.size() != 16)
        return block.size() == 6 && block[0] == 0x12 ? 'I' : '!';
    if (block[0] == 0xCA)
        return 'C';
    if (block[0] == 0xCD && block[5] == 5)
        return '=';
    constexpr std::string_view kInstructions("\x06\x01\x02\x05\x03\x20\x52\xD8"), kLetters("nsP?REEE");
    const std::size_t at = kInstructions.find(static_cast<char>(block[10]));
    return at < kLetters.size() ? kLetters[at] : '!';
}

}  // namespace lumato::test
