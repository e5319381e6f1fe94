// The log in the state folder: "log" and, as it grows, "log.1" to "log.4", each of a megabyte at most.
//
// Lines are handed to a thread of its own, so that neither a disk that has gone nor one that is full costs
// anybody more than the lines. Several processes may write at once: a line is one write, behind all others.
// Callable from any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/file.h"

namespace lumato::platform {

inline constexpr std::uintmax_t kLogFileSize = 1'000'000;
inline constexpr int kLogFiles = 5;

class LogFile {
  public:
    // Until Begin() nothing touches the disk. The state folder is then made if need be, or waited for.
    // `program` stands in each line.
    enum class Folder { Make, Await };
    LogFile(Path stateFolder, Folder folder, std::string program);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    void Begin();
    void Write(std::string_view line);

    // Puts what `make` returns, on the thread of the log, into a file of that name in the state folder:
    // whole, for the owner's eyes alone. Nothing is written when that is empty.
    void Keep(const std::string& name, std::function<std::string()> make);

    // Waits for an attempt to write all, `limit` at most: a disk that does not answer keeps nobody.
    void Flush(std::chrono::milliseconds limit);

  private:
    struct Shared;
    std::shared_ptr<Shared> m_shared;
};

// The last bytes of the log, in whole lines, the oldest first. May wait for the disk.
[[nodiscard]] std::string ReadLog(const Path& stateFolder, std::size_t limit);

}  // namespace lumato::platform
