#include "app/parts/loose_threads.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace lumato::app {
namespace {

// What takes longer is not slow, but does not answer.
constexpr std::chrono::milliseconds kSeemsToHang{10'000};

// Those that nobody has joined yet. Never destroyed: one that hangs is left alone at the program's end.
struct Threads {
    struct One {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> ended;
    };

    // Also waits for what a thread that has ended leaves to be destroyed.
    void JoinEnded() {
        std::erase_if(all, [](One& one) {
            if (!*one.ended)
                return false;
            one.thread.join();
            return true;
        });
    }

    std::mutex mutex;
    std::vector<One> all;  // guarded by it
};

Threads& Loose() {
    static auto& threads = *new Threads;
    return threads;
}

}  // namespace

LooseThreads::LooseThreads(int atOnce, std::chrono::milliseconds patience, int most)
    : m_atOnce(atOnce), m_patience(patience), m_most(most) {
    m_ties->owner = this;
    m_watch.setInterval(patience / 4);
    connect(&m_watch, &QTimer::timeout, this, &LooseThreads::Launch);
}

LooseThreads::~LooseThreads() {
    const std::lock_guard lock(m_ties->mutex);
    m_ties->owner = nullptr;
}

bool LooseThreads::AnyRun() {
    const std::lock_guard lock(Loose().mutex);
    Loose().JoinEnded();
    return !Loose().all.empty();
}

void LooseThreads::Start(Job job, std::string name) {
    m_waiting.push_back({std::move(job), std::move(name)});
    Launch();
}

bool LooseThreads::Runs(std::string_view name) const {
    return std::ranges::find(m_running, name, &Running::name) != m_running.end();
}

void LooseThreads::Launch() {
    const auto younger = [this](std::chrono::milliseconds age) {
        return std::ranges::count_if(
            m_running, [age](const Running& running) { return running.since.elapsed() < age.count(); });
    };
    while (!m_waiting.empty() && younger(m_patience) < m_atOnce && younger(kSeemsToHang) < m_most &&
           m_running.size() < kMostThreads) {
        Waiting next = std::move(m_waiting.front());
        m_waiting.pop_front();
        Begin(std::move(next));
    }
    if (m_waiting.empty())
        m_watch.stop();
    else if (!m_watch.isActive())
        m_watch.start();
}

void LooseThreads::Begin(Waiting next) {
    Running running{.number = ++m_lastNumber, .name = std::move(next.name), .since = {}};
    running.since.start();
    m_running.push_back(running);
    Detach([ties = m_ties, number = running.number, job = std::make_shared<Job>(std::move(next.job))] {
        Run(ties, number, *job);
    });
}

void LooseThreads::Detach(std::function<void()> work) {
    const std::lock_guard lock(Loose().mutex);
    Loose().JoinEnded();
    Loose().all.reserve(Loose().all.size() + 1);  // a thread that runs must be kept
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    try {
        std::thread thread([work = std::move(work), ended]() mutable {
            work();
            work = nullptr;
            *ended = true;
        });
        Loose().all.push_back({std::move(thread), ended});
    } catch (const std::system_error&) {  // none to be had: it is as one that is never answered
    }
}

void LooseThreads::Run(const std::shared_ptr<Ties>& ties, int number, Job& job) {
    Outcome outcome;
    try {
        outcome = job();
    } catch (const std::bad_alloc&) {  // as if there were nothing to say
    }
    job = nullptr;
    {
        const std::lock_guard lock(ties->mutex);
        if (LooseThreads* owner = ties->owner) {
            owner->m_calls.Post([owner, number, outcome = std::move(outcome)] {
                owner->TakeEnd(number);
                if (outcome)
                    outcome();
            });
        }
    }
}

void LooseThreads::TakeEnd(int number) {
    std::erase_if(m_running, [number](const Running& running) { return running.number == number; });
    Launch();
}

}  // namespace lumato::app
