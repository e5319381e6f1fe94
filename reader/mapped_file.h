// Files for libraries that read from memory. An object belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/mman.h>

namespace lumato::reader {

// A whole file in memory, for as long as this lives. Who cuts it off meanwhile ends this process, and no
// other.
class MappedFile {
  public:
    MappedFile(int descriptor, std::int64_t size)
        : m_size(static_cast<std::size_t>(size)),
          m_data(::mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, descriptor, 0)) {}
    ~MappedFile() {
        if (m_data != MAP_FAILED)
            ::munmap(m_data, m_size);
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    [[nodiscard]] void* Data() const { return m_data == MAP_FAILED ? nullptr : m_data; }
    [[nodiscard]] std::size_t Size() const { return m_size; }

  private:
    const std::size_t m_size;
    void* const m_data;
};

}  // namespace lumato::reader
