// Does the parts of a long work ahead of the one who needs their outcomes, on several threads, while the
// outcomes are taken in order.
//
// Used by one thread; the work runs on threads of its own, several parts at a time. So many outcomes exist at
// a time, in work ones included, however long the work is: memory stays bounded.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace lumato::picture {

template <class Outcome>
class WorkAhead {
  public:
    // Makes the outcome of a part; must not throw.
    using Work = std::function<Outcome(std::size_t part)>;

    // Begins with the first of `parts` parts. At most `most` outcomes exist at a time, the one taken last
    // included. Fewer than two threads, or parts, need no thread: then each part is done when it is asked
    // for.
    WorkAhead(std::size_t parts, std::size_t threads, std::size_t most, Work work)
        : m_work(std::move(work)), m_most(most), m_outcomes(parts) {
        threads = std::min({threads, parts, most});
        if (threads < 2)
            return;
        try {
            for (std::size_t i = 0; i < threads; ++i)
                m_threads.emplace_back([this] { WorkInOrder(); });
        } catch (const std::exception&) {  // no thread, or no memory for one: fewer will do, or none
        }
    }
    // Starts no more parts and waits for those in work.
    ~WorkAhead() {
        {
            const std::lock_guard lock(m_mutex);
            m_ended = true;
        }
        m_changed.notify_all();
        for (std::thread& thread : m_threads)
            thread.join();
    }
    WorkAhead(const WorkAhead&) = delete;
    WorkAhead& operator=(const WorkAhead&) = delete;

    // Waits for the next part's outcome. Requires: there is one more part, and the outcome taken last exists
    // no more.
    [[nodiscard]] Outcome Next() {
        if (m_threads.empty())
            return m_work(m_next++);
        Release();
        std::unique_lock lock(m_mutex);
        std::optional<Outcome>& outcome = m_outcomes[m_next++];
        m_changed.wait(lock, [&] { return outcome.has_value(); });
        return *std::exchange(outcome, std::nullopt);
    }
    // The outcome taken last exists no more: another part may begin at once.
    void Release() {
        {
            const std::lock_guard lock(m_mutex);
            m_released = m_next;
        }
        m_changed.notify_all();
    }

  private:
    void WorkInOrder() {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock,
                           [this] { return m_ended || AllStarted() || m_started < m_released + m_most; });
            if (m_ended || AllStarted())
                return;
            const std::size_t part = m_started++;
            lock.unlock();
            Outcome outcome = m_work(part);
            lock.lock();
            m_outcomes[part] = std::move(outcome);
            m_changed.notify_all();
        }
    }
    [[nodiscard]] bool AllStarted() const { return m_started == m_outcomes.size(); }

    const Work m_work;
    const std::size_t m_most;
    std::mutex m_mutex;  // guards what follows, but for the threads
    std::condition_variable m_changed;
    std::vector<std::optional<Outcome>> m_outcomes;  // by part
    std::size_t m_started = 0;
    std::size_t m_next = 0;      // the next one to be taken
    std::size_t m_released = 0;  // so many were taken and exist no more
    bool m_ended = false;
    std::vector<std::thread> m_threads;
};

}  // namespace lumato::picture
