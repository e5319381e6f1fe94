// One thread that reads or draws for a view, one job after the other. It is started by the first job.
//
// Jobs are given and taken back on the main thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace lumato::app {

class ReaderThread {
  public:
    ReaderThread() = default;
    // Forgets the jobs that have not begun, and waits for the one that has.
    ~ReaderThread();
    ReaderThread(const ReaderThread&) = delete;
    ReaderThread& operator=(const ReaderThread&) = delete;

    void Start(std::function<void()> job);
    // Forgets those that have not begun.
    void Clear();
    // Waits until all jobs are done.
    void Wait();

  private:
    void Run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_jobs;  // guarded by m_mutex, as all below
    bool m_working = false;
    bool m_ending = false;
    std::thread m_thread;
};

}  // namespace lumato::app
