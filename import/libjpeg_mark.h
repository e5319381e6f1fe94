// Tells libjpeg's versions apart: it has no number for that, but each one's messages, the copyright's years
// among them, are its own.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>
#include <cstdio>

#include <jpeglib.h>

namespace lumato::picture {

// Of the library that filled the structure in (jpeg_std_error). FNV-1a, 64 bits.
inline std::uint64_t LibjpegMark(const jpeg_error_mgr& errors) {
    std::uint64_t mark = 0xCBF29CE484222325;
    for (int i = 0; i <= errors.last_jpeg_message; ++i)
        for (const char* at = errors.jpeg_message_table[i]; at != nullptr && *at != '\0'; ++at)
            mark = (mark ^ static_cast<unsigned char>(*at)) * 0x100000001B3;
    return mark;
}

}  // namespace lumato::picture
