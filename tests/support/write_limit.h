// A disk that is full.
#pragma once

#include <csignal>

#include <sys/resource.h>

namespace lumato::test {

// Writes behind the first `bytes` of any file fail, as on a full disk.
class WriteLimit {
  public:
    explicit WriteLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limited{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~WriteLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    WriteLimit(const WriteLimit&) = delete;
    WriteLimit& operator=(const WriteLimit&) = delete;

  private:
    rlimit m_before{};
    void (*m_handler)(int);
};

}  // namespace lumato::test
