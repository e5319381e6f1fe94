#include "base/diagnostics.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace lumato {
namespace {

std::atomic<std::FILE*>& Stream() {
    static std::atomic<std::FILE*> stream{stdout};
    return stream;
}

using LogTaker = std::function<void(std::string_view)>;

// Never destroyed: a thread that nobody waits for may log to the end.
struct LogSlot {
    std::mutex mutex;
    std::shared_ptr<const LogTaker> taker;
};

LogSlot& Slot() {
    static auto& slot = *new LogSlot;
    return slot;
}

}  // namespace

void Diagnose(std::string_view text) {
    Log(text);
    std::FILE* stream = Stream();
    if (stream == nullptr)
        return;
    std::string line(text);
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
}

void Log(std::string_view text) {
    std::shared_ptr<const LogTaker> taker;
    {
        const std::lock_guard lock(Slot().mutex);
        taker = Slot().taker;
    }
    if (taker != nullptr)
        (*taker)(text);
}

void SetDiagnosticStream(std::FILE* stream) {
    Stream() = stream;
}

void SetLog(std::function<void(std::string_view line)> log) {
    auto taker = log ? std::make_shared<const LogTaker>(std::move(log)) : nullptr;
    const std::lock_guard lock(Slot().mutex);
    Slot().taker.swap(taker);
}

}  // namespace lumato
