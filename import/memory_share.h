// What imports take of this computer's memory at the same time, whatever there are of them and of processors.
#pragma once

#include <cstdint>

namespace lumato::picture {

// So many bytes of what all imports of this process may take together: waits until they are free, and gives
// them back. What is more than all of it has it for itself. Who comes first is first. On the thread of an
// import that is to stop it waits no longer: IsGranted() tells. Any thread, one at a time on each: two could
// wait for each other.
class MemoryShare {
  public:
    // With four readers that wait, and what a program has beside its imports, 300 MB.
    static constexpr std::int64_t kAll = 170'000'000;

    explicit MemoryShare(std::int64_t bytes);
    ~MemoryShare();
    MemoryShare(const MemoryShare&) = delete;
    MemoryShare& operator=(const MemoryShare&) = delete;

    [[nodiscard]] bool IsGranted() const { return m_bytes >= 0; }

  private:
    std::int64_t m_bytes;
};

}  // namespace lumato::picture
