// The readers of this process: started when a picture needs one, kept for the next, ended when none comes for
// a while.
//
// Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "import/reader_process.h"

namespace lumato::picture {

// The first of these folders' reader. Errors: Unsupported.
[[nodiscard]] Result<Path> FindReader(const std::vector<Path>& folders);

class ReaderPool {
  public:
    // The program is looked for when the first reader is wanted.
    explicit ReaderPool(std::vector<Path> folders,
                        ReaderProcess::Patience patience = ReaderProcess::kPatience)
        : m_folders(std::move(folders)), m_patience(patience) {}
    // Requires: nobody has a reader or waits for one.
    ~ReaderPool();
    ReaderPool(const ReaderPool&) = delete;
    ReaderPool& operator=(const ReaderPool&) = delete;

    // A reader, for one picture; ended unless it is given back.
    class Loan {
      public:
        ~Loan();
        Loan(Loan&& other) noexcept
            : m_pool(std::exchange(other.m_pool, nullptr)), m_process(std::move(other.m_process)) {}
        Loan& operator=(Loan&&) = delete;

        [[nodiscard]] ReaderProcess& operator*() const { return *m_process; }
        // It is as it was when it came.
        void GiveBack();

      private:
        friend class ReaderPool;
        explicit Loan(ReaderPool& pool) : m_pool(&pool) {}

        ReaderPool* m_pool;
        std::unique_ptr<ReaderProcess> m_process;
    };
    // Waits where all that may be are in use. Errors: Unsupported, when there is none to be had; Gone.
    [[nodiscard]] Result<Loan> Borrow();
    // Those that wait for pictures.
    void EndIdle();

  private:
    struct Idle {
        std::unique_ptr<ReaderProcess> process;
        std::chrono::steady_clock::time_point since;
    };

    [[nodiscard]] bool Reserve();
    [[nodiscard]] std::unique_ptr<ReaderProcess> TakeIdle();
    void Keep(std::unique_ptr<ReaderProcess> process);
    void Return();
    void EndOldOnes();

    const std::vector<Path> m_folders;
    const ReaderProcess::Patience m_patience;
    std::mutex m_mutex;  // guards what follows
    std::condition_variable m_changed;
    int m_lent = 0;
    std::list<Idle> m_idle;  // the last one first
    bool m_isWatched = false;
};

// Those of the program.
[[nodiscard]] ReaderPool& Readers();

}  // namespace lumato::picture
