#include "app/parts/reader_thread.h"

#include <new>
#include <utility>

namespace lumato::app {

using Lock = std::unique_lock<std::mutex>;

ReaderThread::~ReaderThread() {
    Clear();
    {
        const Lock lock(m_mutex);
        m_ending = true;
        m_changed.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
}

void ReaderThread::Start(std::function<void()> job) {
    const Lock lock(m_mutex);
    m_jobs.push_back(std::move(job));
    m_changed.notify_all();
    if (!m_thread.joinable())
        m_thread = std::thread([this] { Run(); });
}

void ReaderThread::Clear() {
    std::deque<std::function<void()>> forgotten;  // what they hold is let go of outside the lock
    const Lock lock(m_mutex);
    forgotten.swap(m_jobs);
}

void ReaderThread::Wait() {
    Lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_jobs.empty() && !m_working; });
}

void ReaderThread::Run() {
    Lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ending || !m_jobs.empty(); });
        if (m_jobs.empty())
            return;
        std::function<void()> job = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_working = true;
        lock.unlock();
        try {
            job();
        } catch (const std::bad_alloc&) {  // what it was to show is not shown
        }
        job = nullptr;
        lock.lock();
        m_working = false;
        m_changed.notify_all();
    }
}

}  // namespace lumato::app
