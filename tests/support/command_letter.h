// The commands that a frame is sent, one letter each, so that a test can show their order in a word.
#pragma once

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
    switch (block[10]) {
        case 0x06:
            return 'n';
        case 0x01:
            return 's';
        case 0x02:
            return 'P';
        case 0x05:
            return '?';
        case 0x03:
            return 'R';
        case 0x20:
        case 0x52:
        case 0xD8:
            return 'E';
        default:
            return '!';
    }
}

}  // namespace lumato::test
