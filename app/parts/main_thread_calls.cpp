#include "app/parts/main_thread_calls.h"

#include <QCoreApplication>
#include <algorithm>
#include <ctime>
#include <deque>
#include <mutex>
#include <utility>

namespace lumato::app {
namespace {

// Milliseconds of work, after which whatever else the loop has gets its turn.
constexpr double kSlice = 4;

// Processor time of this thread: beside busy programs the calls would come one by one otherwise.
double Worked() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

struct Waiting {
    const MainThreadCalls* owner = nullptr;
    std::function<void()> call;
};

// Of all objects together, for the order between them.
struct Queue {
    std::mutex mutex;
    std::deque<Waiting> calls;  // guarded by it, as is the next one
    bool isLoopTold = false;    // and will ask for them
};

Queue& Calls() {
    static auto& calls = *new Queue;  // threads may outlive main()
    return calls;
}

void CarryOut();

// Requires: the queue's lock.
void TellLoop(Queue& queue) {
    if (!queue.calls.empty() && !std::exchange(queue.isLoopTold, true))
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [] { CarryOut(); }, Qt::QueuedConnection);
}

void CarryOut() {
    Queue& queue = Calls();
    const double since = Worked();
    for (bool isFirst = true; isFirst || Worked() - since < kSlice; isFirst = false) {
        Waiting next;
        {
            const std::lock_guard lock(queue.mutex);
            if (isFirst)
                queue.isLoopTold = false;
            if (queue.calls.empty())
                return;
            next = std::move(queue.calls.front());
            queue.calls.pop_front();
            TellLoop(queue);  // a call may have a loop of its own
        }
        next.call();
    }
}

}  // namespace

MainThreadCalls::~MainThreadCalls() {
    std::deque<Waiting> forgotten;  // what they hold is let go of outside the lock
    const std::lock_guard lock(Calls().mutex);
    std::deque<Waiting>& calls = Calls().calls;
    const auto ours = std::stable_partition(calls.begin(), calls.end(),
                                            [this](const Waiting& waiting) { return waiting.owner != this; });
    std::move(ours, calls.end(), std::back_inserter(forgotten));
    calls.erase(ours, calls.end());
}

void MainThreadCalls::Post(std::function<void()> call) {
    Queue& queue = Calls();
    const std::lock_guard lock(queue.mutex);
    queue.calls.push_back({this, std::move(call)});
    TellLoop(queue);
}

}  // namespace lumato::app
