#include "platform/linux/log_file.h"

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/printable.h"

namespace lumato::platform {
namespace {

// What several processes write at the same moment has room behind it.
constexpr std::uintmax_t kFullAt = kLogFileSize - 100'000;
constexpr std::size_t kMostAtOnce = 16'000;
constexpr std::size_t kMostWaiting = 2000;  // lines that a disk which does not answer may pile up
constexpr std::chrono::milliseconds kTryAgain{500};
constexpr std::chrono::milliseconds kMoveOnAgain{1};
constexpr int kMostTries = 100;
constexpr mode_t kOwnerOnly = 0600;

// In universal time: a log travels.
std::string Stamp() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    ::gmtime_r(&now.tv_sec, &parts);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ ", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                  static_cast<int>(now.tv_nsec / 1'000'000));
    return text;
}

Path NumberedLog(const Path& folder, int number) {
    return folder / (number == 0 ? "log" : "log." + std::to_string(number));
}

// An open file that is closed in the end.
class Opened {
  public:
    // A pipe or a link in its place is left alone.
    explicit Opened(const Path& path)
        : m_fd(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                      kOwnerOnly)) {
        struct stat status {};
        m_usable = m_fd >= 0 && ::fstat(m_fd, &status) == 0 && S_ISREG(status.st_mode);
        m_size = m_usable ? static_cast<std::uintmax_t>(status.st_size) : 0;
        if (m_usable && (status.st_mode & 077) != 0)
            static_cast<void>(::fchmod(m_fd, kOwnerOnly));
    }
    ~Opened() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    [[nodiscard]] bool IsUsable() const { return m_usable; }
    [[nodiscard]] std::uintmax_t Size() const { return m_size; }
    [[nodiscard]] int Get() const { return m_fd; }
    // Still the file of that name: no other process has moved it on.
    [[nodiscard]] bool IsAt(const Path& path) const {
        struct stat ours {
        }, there{};
        return ::fstat(m_fd, &ours) == 0 && ::lstat(path.c_str(), &there) == 0 &&
               ours.st_ino == there.st_ino && ours.st_dev == there.st_dev;
    }

  private:
    const int m_fd;
    bool m_usable = false;
    std::uintmax_t m_size = 0;
};

// Who holds the lock of the file that is full moves the files on; who comes second waits for that, and finds
// another one. Not for ever: the first may have been stopped.
void MoveOn(const Path& folder, const Opened& full) {
    for (int tries = 0; ::flock(full.Get(), LOCK_EX | LOCK_NB) != 0; ++tries) {
        if (errno != EWOULDBLOCK || tries == kMostTries)
            return;
        std::this_thread::sleep_for(kMoveOnAgain);
    }
    if (!full.IsAt(NumberedLog(folder, 0)))
        return;
    for (int number = kLogFiles - 1; number > 0; --number)
        static_cast<void>(
            ::rename(NumberedLog(folder, number - 1).c_str(), NumberedLog(folder, number).c_str()));
}

// Part of a line, on a disk that is full, ends as a line of its own when the next one comes.
bool Append(const Path& folder, const std::string& lines) {
    const Path path = NumberedLog(folder, 0);
    {
        const Opened file(path);
        if (!file.IsUsable())
            return false;
        if (file.Size() == 0 || file.Size() + lines.size() <= kFullAt)
            return ::write(file.Get(), lines.data(), lines.size()) == static_cast<ssize_t>(lines.size());
        MoveOn(folder, file);
    }
    const Opened next(path);
    return next.IsUsable() &&
           ::write(next.Get(), lines.data(), lines.size()) == static_cast<ssize_t>(lines.size());
}

// Complete or not at all; of two processes at once one does it.
void Replace(const Path& folder, const std::string& name, const std::string& text) {
    const Path fresh = folder / (name + ".new");
    const Opened file(fresh);
    const bool written = file.IsUsable() && ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0 && file.IsAt(fresh) &&
                         ::ftruncate(file.Get(), 0) == 0 &&
                         ::write(file.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (written)
        static_cast<void>(::rename(fresh.c_str(), (folder / name).c_str()));
}

}  // namespace

using KeptFiles = std::vector<std::pair<std::string, std::function<std::string()>>>;

struct LogFile::Shared {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> lines;
    KeptFiles files;
    std::size_t lost = 0;
    bool asked = false;  // for one attempt, now
    bool begun = false;  // there is a thread
    bool ended = false;
    bool cutShort = false;  // the last write ended within a line

    Path folder;
    bool mayMake = false;
    std::string program;

    [[nodiscard]] bool IsEmpty() const { return lines.empty() && files.empty(); }
    // What is still to be written after one attempt.
    void WriteAll(std::deque<std::string>& taken, KeptFiles& kept);
    static void Run(const std::shared_ptr<Shared>& shared);
};

void LogFile::Shared::WriteAll(std::deque<std::string>& taken, KeptFiles& kept) {
    std::error_code ignored;
    const bool there = std::filesystem::is_directory(folder, ignored);
    if (!there && (!mayMake || !MakePrivateFolder(folder)))
        return;
    while (!taken.empty()) {
        std::string text = std::exchange(cutShort, false) ? "\n" : "";
        std::size_t count = 0;
        for (; count < taken.size() && text.size() < kMostAtOnce; ++count)
            text += taken[count];
        cutShort = !Append(folder, text);
        if (cutShort)
            return;
        taken.erase(taken.begin(), taken.begin() + static_cast<std::ptrdiff_t>(count));
    }
    for (const auto& [name, make] : kept) {
        if (const std::string text = make(); !text.empty())
            Replace(folder, name, text);
    }
    kept.clear();
}

void LogFile::Shared::Run(const std::shared_ptr<Shared>& shared) {
    std::unique_lock lock(shared->mutex);
    while (!shared->ended) {
        shared->changed.wait(lock, [&] { return shared->ended || shared->asked || !shared->IsEmpty(); });
        const bool answering = shared->asked;
        std::deque<std::string> taken;
        KeptFiles kept;
        taken.swap(shared->lines);
        kept.swap(shared->files);
        lock.unlock();
        shared->WriteAll(taken, kept);
        lock.lock();
        const bool later = !taken.empty() || !kept.empty();  // there is no folder yet, or no room on the disk
        shared->lines.insert(shared->lines.begin(), std::make_move_iterator(taken.begin()),
                             std::make_move_iterator(taken.end()));
        shared->files.insert(shared->files.begin(), std::make_move_iterator(kept.begin()),
                             std::make_move_iterator(kept.end()));
        if (answering) {
            shared->asked = false;
            shared->changed.notify_all();
        }
        if (later)
            shared->changed.wait_for(lock, kTryAgain, [&] { return shared->ended || shared->asked; });
    }
}

LogFile::LogFile(Path stateFolder, Folder folder, std::string program)
    : m_shared(std::make_shared<Shared>()) {
    m_shared->folder = std::move(stateFolder);
    m_shared->mayMake = folder == Folder::Make;
    m_shared->program = std::move(program) + "[" + std::to_string(::getpid()) + "] ";
}

void LogFile::Begin() {
    {
        const std::lock_guard lock(m_shared->mutex);
        if (std::exchange(m_shared->begun, true))
            return;
    }
    // Nobody waits for it: it may hang on a disk that has gone.
    try {
        std::thread([shared = m_shared] { Shared::Run(shared); }).detach();
    } catch (const std::system_error&) {
        const std::lock_guard lock(m_shared->mutex);
        m_shared->ended = true;  // no thread is to be had; then there is no log
    }
}

LogFile::~LogFile() {
    const std::lock_guard lock(m_shared->mutex);
    m_shared->ended = true;
    m_shared->changed.notify_all();
}

void LogFile::Write(std::string_view line) {
    while (line.ends_with('\n'))
        line.remove_suffix(1);
    std::string whole = Stamp() + m_shared->program + Printable(line) + "\n";
    const std::lock_guard lock(m_shared->mutex);
    if (m_shared->ended)
        return;
    if (m_shared->lines.size() >= kMostWaiting) {
        ++m_shared->lost;
        return;
    }
    if (const std::size_t lost = std::exchange(m_shared->lost, 0))
        m_shared->lines.push_back(Stamp() + m_shared->program + std::to_string(lost) + " lines were lost\n");
    m_shared->lines.push_back(std::move(whole));
    m_shared->changed.notify_all();
}

void LogFile::Keep(const std::string& name, std::function<std::string()> make) {
    const std::lock_guard lock(m_shared->mutex);
    std::erase_if(m_shared->files, [&](const auto& file) { return file.first == name; });
    m_shared->files.emplace_back(name, std::move(make));
    m_shared->changed.notify_all();
}

void LogFile::Flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_shared->mutex);
    m_shared->asked = m_shared->begun && !m_shared->ended;
    m_shared->changed.notify_all();
    m_shared->changed.wait_for(lock, limit, [&] { return !m_shared->asked; });
}

std::string ReadLog(const Path& stateFolder, std::size_t limit) {
    std::string text;
    for (int number = 0; number < kLogFiles && text.size() < limit; ++number) {
        const auto bytes = ReadPlainFile(NumberedLog(stateFolder, number), 2 * kLogFileSize);
        if (bytes)
            text.insert(0, std::string(bytes->begin(), bytes->end()));
    }
    if (text.size() <= limit)
        return text;
    text.erase(0, text.size() - limit);
    return text.erase(0, text.find('\n') + 1);
}

}  // namespace lumato::platform
