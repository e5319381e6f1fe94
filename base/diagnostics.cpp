#include "base/diagnostics.h"

#include <atomic>
#include <string>

namespace lumato {
namespace {

std::atomic<std::FILE*>& Stream() {
    static std::atomic<std::FILE*> stream{stdout};
    return stream;
}

}  // namespace

void Diagnose(std::string_view text) {
    std::FILE* stream = Stream();
    if (stream == nullptr)
        return;
    std::string line(text);
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
}

void SetDiagnosticStream(std::FILE* stream) {
    Stream() = stream;
}

}  // namespace lumato
