#include "import/reader_pool.h"

#include <system_error>
#include <thread>
#include <utility>

#include "import/messages.h"
#include "import/stop_question.h"

namespace lumato::picture {
namespace {

constexpr int kMostReaders = 4;
constexpr std::chrono::milliseconds kBetweenQuestions{50};
constexpr std::chrono::seconds kIdle{10};

// Beside the program, as in a build tree, or where both were installed; without /proc, where they were to be.
// What lies beside the current folder is anybody's.
std::vector<Path> ReaderFolders() {
    std::error_code none;
    const Path program = std::filesystem::read_symlink("/proc/self/exe", none).parent_path();
    if (program.empty())
        return {LUMATO_READER_FOLDER_CONFIGURED};
    return {program, program / LUMATO_READER_FOLDER};
}

}  // namespace

Result<Path> FindReader(const std::vector<Path>& folders) {
    for (const Path& folder : folders) {
        std::error_code none;
        if (std::filesystem::exists(folder / reader::kProgram, none))
            return folder / reader::kProgram;
    }
    return Fail(ErrorKind::Unsupported,
                Phrase("READER_NOT_INSTALLED", "the picture reader for this format is not installed ({0})",
                       reader::kProgram));
}

ReaderPool& Readers() {
    // Never destroyed: threads that nobody waits for may read to the end.
    static auto& pool = *new ReaderPool(ReaderFolders());
    struct AtTheEnd {
        ~AtTheEnd() { pool.EndIdle(); }
    };
    static const AtTheEnd end;
    return pool;
}

ReaderPool::~ReaderPool() {
    EndIdle();
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_isWatched; });
}

ReaderPool::Loan::~Loan() {
    if (m_pool == nullptr)
        return;
    m_process.reset();
    m_pool->Return();
}

void ReaderPool::Loan::GiveBack() {
    if (m_process->HasGrown())
        return;
    m_pool->Keep(std::move(m_process));
}

// False: nobody waits for it any more.
bool ReaderPool::Reserve() {
    std::unique_lock lock(m_mutex);
    const auto isFree = [this] { return m_lent < kMostReaders; };
    while (!m_changed.wait_for(lock, kBetweenQuestions, isFree))
        if (StopQuestion::IsStopped())
            return false;
    ++m_lent;
    return true;
}

std::unique_ptr<ReaderProcess> ReaderPool::TakeIdle() {
    const std::lock_guard lock(m_mutex);
    if (m_idle.empty())
        return nullptr;
    auto process = std::move(m_idle.front().process);
    m_idle.pop_front();
    return process;
}

Result<ReaderPool::Loan> ReaderPool::Borrow() {
    if (!Reserve())
        return Fail(ErrorKind::Gone, kStopped);
    Loan loan(*this);
    do {
        loan.m_process = TakeIdle();
        // One that was taken over may have grown while it waited.
        if (loan.m_process != nullptr && loan.m_process->IsQuiet() && !loan.m_process->HasGrown())
            return loan;
    } while (loan.m_process != nullptr);
    LUMATO_TRY(const Path program, FindReader(m_folders));
    LUMATO_TRY(loan.m_process, ReaderProcess::Start(program, m_patience));
    return loan;
}

void ReaderPool::Return() {
    {
        const std::lock_guard lock(m_mutex);
        --m_lent;
    }
    m_changed.notify_all();
}

void ReaderPool::Keep(std::unique_ptr<ReaderProcess> process) {
    process->Rest();
    const std::lock_guard lock(m_mutex);
    m_idle.push_front({std::move(process), std::chrono::steady_clock::now()});
    if (std::exchange(m_isWatched, true))
        return;
    try {
        std::thread([this] { EndOldOnes(); }).detach();
    } catch (const std::system_error&) {
        m_isWatched = false;
        m_idle.clear();
    }
}

void ReaderPool::EndIdle() {
    std::list<Idle> idle;
    {
        const std::lock_guard lock(m_mutex);
        idle.swap(m_idle);
    }
    m_changed.notify_all();
}

// On a thread of its own, as long as any waits: the old ones, and those that a file has taken over and that
// do not wait.
void ReaderPool::EndOldOnes() {
    constexpr std::chrono::milliseconds kBetweenLooks{200};
    std::unique_lock lock(m_mutex);
    while (!m_idle.empty()) {
        m_changed.wait_for(lock, kBetweenLooks);
        std::list<Idle> old;
        const auto now = std::chrono::steady_clock::now();
        for (auto idle = m_idle.begin(); idle != m_idle.end();)
            if (const auto next = std::next(idle); idle->since + kIdle <= now || idle->process->HasGrown())
                old.splice(old.end(), m_idle, std::exchange(idle, next));
            else
                idle = next;
        lock.unlock();
        old.clear();
        lock.lock();
    }
    m_isWatched = false;
    m_changed.notify_all();
}

}  // namespace lumato::picture
