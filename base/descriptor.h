// A file descriptor and its end.
//
// One thread at a time.
#pragma once

#include <utility>

#include <unistd.h>

namespace lumato {

class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }

    // Negative: none.
    [[nodiscard]] int Get() const { return m_fd; }
    // Closing reports what a write could not: a full disk behind a network or a quota.
    [[nodiscard]] bool Close() { return ::close(std::exchange(m_fd, -1)) == 0; }

  private:
    int m_fd;
};

}  // namespace lumato
