// An input taken apart piece by piece, and the small things that all targets need.
//
// One thread per object.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "base/bytes.h"
#include "base/file.h"

namespace lumato::fuzz {

// Ends the program, which is how a fuzzer is told of a broken promise.
inline void Demand(bool kept, const char* promise) {
    if (kept)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

class Input {
  public:
    explicit Input(ByteSpan bytes) : m_rest(bytes) {}

    [[nodiscard]] bool Empty() const { return m_rest.empty(); }
    // 0 when nothing is left.
    std::uint8_t Byte() { return Empty() ? std::uint8_t{0} : Take(1)[0]; }
    std::uint32_t Number24() {
        const std::uint32_t high = Byte();
        const std::uint32_t middle = Byte();
        return high << 16 | middle << 8 | Byte();
    }
    // Fewer where the input ends.
    ByteSpan Take(std::size_t count) {
        const ByteSpan taken = m_rest.first(std::min(count, m_rest.size()));
        m_rest = m_rest.subspan(taken.size());
        return taken;
    }
    ByteSpan Rest() { return Take(m_rest.size()); }

  private:
    ByteSpan m_rest;
};

// What is left of an input as patches: address, length, bytes.
inline void Patch(Input& input, MutableByteSpan target) {
    while (!input.Empty()) {
        const std::size_t address = input.Number24() % target.size();
        const ByteSpan patch = input.Take(input.Byte());
        std::copy_n(patch.begin(), std::min(patch.size(), target.size() - address),
                    target.begin() + static_cast<std::ptrdiff_t>(address));
    }
}

// A plain file with these bytes that never touches a disk.
class MemoryFile {
  public:
    explicit MemoryFile(ByteSpan bytes) : m_fd(::memfd_create("lumato-fuzz", MFD_CLOEXEC)) {
        const ssize_t written = ::write(m_fd, bytes.data(), bytes.size());
        Demand(written == static_cast<ssize_t>(bytes.size()), "a memory file takes its bytes");
    }
    ~MemoryFile() { ::close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    [[nodiscard]] Path Name() const { return "/proc/self/fd/" + std::to_string(m_fd); }

  private:
    int m_fd;
};

}  // namespace lumato::fuzz
