// What a reader does for a living: one picture at a time, from an open file into rows.
#pragma once

#include <cstdint>
#include <optional>

#include "base/bytes.h"
#include "reader/messages.h"

namespace lumato::reader {

// Takes a picture. Calls come from one thread at a time, not necessarily the one that reads.
class Receiver {
  public:
    virtual ~Receiver() = default;
    // What was found, its profile too where the pixels could be left in its colours. None: leave it.
    [[nodiscard]] virtual std::optional<Go> Begin(const Found& found, ByteSpan profile) = 0;
    // The size in which the rows will come. False, as of the next: no more is wanted.
    [[nodiscard]] virtual bool Decoded(const Coming& size) = 0;
    // In place of all that: the picture is the JPEG file that lies in the file there, to be turned so if it
    // does not say how itself.
    [[nodiscard]] virtual bool Preview(std::int64_t offset, std::int64_t length,
                                       std::uint8_t orientation) = 0;
    // Red, green, blue, in sRGB or in the colours of the profile that was taken.
    [[nodiscard]] virtual bool Row(const std::uint8_t* rgb) = 0;
};

// Who decodes, as the program has it linked.
struct Decoder {
    // Loads whatever reading may need: later on no file can be opened. False: it cannot start.
    bool (*start)(void (*log)(const char* line));
    // Reads the picture behind the descriptor, which stays the caller's, from its beginning.
    End (*read)(int descriptor, const Job& job, Receiver& receiver);
};

// vips_library.cpp, vips_reading.cpp
[[nodiscard]] bool StartVips(void (*log)(const char* line));
[[nodiscard]] End ReadWithVips(int descriptor, const Job& job, Receiver& receiver);

}  // namespace lumato::reader
