// An environment variable with another value for as long as the object lives.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

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

}  // namespace lumato::test
