#include "app/parts/loose_threads.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace lumato::app {
namespace {

// Beyond these, a disk that does not answer is asked no more.
constexpr std::size_t kMostThreads = 64;

std::atomic<int> looseThreadsRunning = 0;

}  // namespace

LooseThreads::LooseThreads(int atOnce, std::chrono::milliseconds patience)
    : m_atOnce(atOnce), m_patience(patience) {
    m_ties->owner = this;
    m_watch.setInterval(patience / 4);
    connect(&m_watch, &QTimer::timeout, this, &LooseThreads::Launch);
}

LooseThreads::~LooseThreads() {
    const std::lock_guard lock(m_ties->mutex);
    m_ties->owner = nullptr;
}

bool LooseThreads::AnyRun() {
    return looseThreadsRunning > 0;
}

void LooseThreads::Start(Job job) {
    m_waiting.push_back(std::move(job));
    Launch();
}

void LooseThreads::Launch() {
    const auto counting = [this] {
        return std::ranges::count_if(m_running, [this](const Running& running) {
            return running.since.elapsed() < m_patience.count();
        });
    };
    while (!m_waiting.empty() && counting() < m_atOnce && m_running.size() < kMostThreads) {
        Job job = std::move(m_waiting.front());
        m_waiting.pop_front();
        Begin(std::move(job));
    }
    if (m_waiting.empty())
        m_watch.stop();
    else if (!m_watch.isActive())
        m_watch.start();
}

void LooseThreads::Begin(Job job) {
    Running running{.number = ++m_lastNumber, .since = {}};
    running.since.start();
    m_running.push_back(running);
    ++looseThreadsRunning;
    try {
        std::thread([ties = m_ties, number = running.number, job = std::move(job)]() mutable {
            Run(ties, number, job);
        }).detach();
    } catch (const std::system_error&) {  // no thread to be had: this job is as one that nobody answers
        --looseThreadsRunning;
    }
}

void LooseThreads::Run(const std::shared_ptr<Ties>& ties, int number, Job& job) {
    Outcome outcome = job();
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
    outcome = nullptr;
    --looseThreadsRunning;
}

void LooseThreads::TakeEnd(int number) {
    std::erase_if(m_running, [number](const Running& running) { return running.number == number; });
    Launch();
}

}  // namespace lumato::app
