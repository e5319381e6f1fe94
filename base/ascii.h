// Letter case without a locale: vendor names and FAT file names are ASCII where it matters. No state; any
// thread.
#pragma once

namespace lumato {

constexpr char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace lumato
