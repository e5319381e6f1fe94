// Reading that may never come back: from a disk that has gone, or a server that does not answer. Each job has
// a thread of its own, which nobody waits for: neither the next job, nor the window when it closes.
//
// Main thread only, but for Detach and AnyRun. Jobs hold values alone and touch nothing of the window; what a
// job returns is carried out on the main thread, unless the owner has gone meanwhile.
#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "app/parts/main_thread_calls.h"

namespace lumato::app {

class LooseThreads : public QObject {
    Q_OBJECT

  public:
    using Outcome = std::function<void()>;
    using Job = std::function<Outcome()>;

    // Beyond these, a disk that does not answer is asked no more.
    static constexpr int kMostThreads = 64;

    // So many jobs run at once. Whichever takes longer than `patience` no longer counts among them, so that
    // it keeps nobody waiting. Together they are `most`, but for those that seem to hang.
    explicit LooseThreads(int atOnce, std::chrono::milliseconds patience = std::chrono::seconds(1),
                          int most = kMostThreads);
    ~LooseThreads() override;

    void Start(Job job, std::string name = {});
    // Forgets those that have not begun.
    void Clear() { m_waiting.clear(); }

    // A job of that name has begun and not ended.
    [[nodiscard]] bool Runs(std::string_view name) const;

    // One that nobody counts on.
    static void Detach(std::function<void()> work);
    // Some thread of the program still runs. Such a one must not see the program's statics go: whoever ends
    // the program leaves them alone then.
    [[nodiscard]] static bool AnyRun();

  private:
    // What a thread knows of its owner.
    struct Ties {
        std::mutex mutex;
        LooseThreads* owner = nullptr;  // guarded by it
    };
    struct Running {
        int number;
        std::string name;
        QElapsedTimer since;
    };
    struct Waiting {
        Job job;
        std::string name;
    };

    void Launch();
    void Begin(Waiting next);
    void TakeEnd(int number);
    static void Run(const std::shared_ptr<Ties>& ties, int number, Job& job);

    int m_atOnce;
    std::chrono::milliseconds m_patience;
    int m_most;
    std::deque<Waiting> m_waiting;
    std::vector<Running> m_running;
    int m_lastNumber = 0;
    MainThreadCalls m_calls;
    QTimer m_watch;
    std::shared_ptr<Ties> m_ties = std::make_shared<Ties>();
};

}  // namespace lumato::app
