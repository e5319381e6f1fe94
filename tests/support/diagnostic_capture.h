// Catches what the lower rooms print for as long as it lives.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/diagnostics.h"

namespace lumato::test {

class DiagnosticCapture {
  public:
    DiagnosticCapture() : m_stream(::open_memstream(&m_text, &m_length)) { SetDiagnosticStream(m_stream); }
    ~DiagnosticCapture() {
        SetDiagnosticStream(stdout);
        std::fclose(m_stream);
        std::free(m_text);
    }
    DiagnosticCapture(const DiagnosticCapture&) = delete;
    DiagnosticCapture& operator=(const DiagnosticCapture&) = delete;

    // Every line is flushed as it is printed.
    [[nodiscard]] std::string Text() const { return m_text != nullptr ? std::string(m_text, m_length) : ""; }

  private:
    char* m_text = nullptr;
    std::size_t m_length = 0;
    std::FILE* m_stream;
};

}  // namespace lumato::test
