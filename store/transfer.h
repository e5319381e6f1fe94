// Who owns the store and the frame: the main thread, or the one worker task that runs.
//
//   main thread   StartTransfer(), then start the task            (download, batch)
//   the task      const TransferOwner owner; ...its work...       its end hands the store back
//   main thread   FinishTransfer(), when the refresh event arrives or after joining the task
//
// A task that brings a frame online is announced by BeginOnline(), and owns the store from then on, too: it
// waits for the one before it by itself.
//
// What belonged to a frame that is released while a task runs is released by FinishTransfer(), for which the
// end of the task posts the refresh event, or by the next online task.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace lumato::store {

struct TransferState {
    std::mutex mutex;
    std::condition_variable ended;
    bool running = false;  // guarded by mutex
    int announced = 0;     // guarded by mutex: online tasks that have not taken over yet
    std::atomic<bool> stopRequested{false};
};

// Main thread, before the task is started. False, and nothing changed, while another one runs.
[[nodiscard]] bool StartTransfer();

// From any thread, a signal handler included: the task that runs is to end at the next place where that costs
// nothing. Forgotten when the next one starts.
void RequestStop();
// Whether the task that runs is to end: it asks between two blocks, or two pictures. False while none does.
[[nodiscard]] bool StopRequested();

// Main thread, before an online task is started.
void BeginOnline();

// From any thread.
[[nodiscard]] bool TransferRunning();

// Main thread. Releases what belonged to a frame that was released during the task that has ended. True when
// the panel may be enabled: a frame is online whole, and no task runs.
bool FinishTransfer();

// Stands in the body of a task for as long as it uses the store.
class TransferOwner {
  public:
    // Takes over what StartTransfer() began.
    TransferOwner();
    // Clears the transfer flag, hands the store back, and then posts the refresh event if it was asked for or
    // if there is something to release.
    ~TransferOwner();
    TransferOwner(const TransferOwner&) = delete;
    TransferOwner& operator=(const TransferOwner&) = delete;

    void PostRefresh() { m_refresh = true; }

  protected:
    struct Waiting {};
    explicit TransferOwner(Waiting) {}

  private:
    bool m_refresh = false;
};

// The online task's: takes over what BeginOnline() announced. A new frame may come while a task of the last
// one is still ending: waits for that, and releases what the last frame left.
class OnlineOwner : public TransferOwner {
  public:
    OnlineOwner();
};

// True while the frame that the store belongs to is there. From any thread.
[[nodiscard]] bool FrameOnline();

// How long the frame has not answered the task that runs; zero without one. From any thread: a command that
// is not answered keeps the task's own.
[[nodiscard]] std::chrono::seconds FrameSilence();
inline constexpr std::chrono::seconds kLongSilence{10};  // is told

}  // namespace lumato::store
