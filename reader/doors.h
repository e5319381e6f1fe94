// Closes a reader off from everything but what it was started with: whatever a stranger's file makes of a
// decoder can then compute, and say wrong things through the socket, and nothing else.
#pragma once

#include <cstdint>

namespace lumato::reader {

// For the whole process, for good: no files opened by name, no network, no new processes and programs, no
// signals to others, no privileges, no memory shared with others, no code but what is loaded. What is left is
// to ask whether there is a file of some name, its size and its times. Returns what this kernel lacks
// (Lacking); the rest holds. Requires: this thread is the only one, or others were started by nobody
// but it.
[[nodiscard]] std::uint8_t CloseDoors();

}  // namespace lumato::reader
