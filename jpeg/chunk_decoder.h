// Decodes the chunks of one picture, one after another, with the loops of the form that is in use.
//
// No state; callable from any thread.
#pragma once

#include <cstddef>

#include "jpeg/stream_header.h"

namespace lumato::jpeg {

struct DecodedPicture;

// Decodes the MCUs of a stream in order, as far as its data go, and paints them into the picture, which has
// the stream's size. Returns how many there were.
[[nodiscard]] std::size_t DecodeChunks(const ParsedStream& parsed, DecodedPicture& picture);

}  // namespace lumato::jpeg
