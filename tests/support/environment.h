// What a process has one of, changed for as long as an object lives.
#pragma once

#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>

#include <sys/resource.h>

namespace lumato::test {

class ScopedVariable {
  public:
    // Null removes the variable.
    ScopedVariable(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name); old != nullptr)
            m_old = old;
        Put(value);
    }
    ~ScopedVariable() { Put(m_old ? m_old->c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

  private:
    void Put(const char* value) {
        if (value != nullptr)
            ::setenv(m_name, value, 1);
        else
            ::unsetenv(m_name);
    }

    const char* m_name;
    std::optional<std::string> m_old;
};

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
