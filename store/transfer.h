// Who owns the store and the frame: the main thread, or the one worker task that runs.
//
//   main thread   StartTransfer(), then start the task            (download, batch)
//   the task      const TransferOwner owner; ...its work...       its end hands the store back
//   main thread   FinishTransfer(), when the refresh event arrives or after joining the task
//
// A frame that vanishes while a task runs is only marked; its lists are released by FinishTransfer(), for
// which the end of the task posts the refresh event.
#pragma once

#include <condition_variable>
#include <mutex>

namespace lumato::store {

struct TransferState {
    std::mutex mutex;
    std::condition_variable ended;
    bool running = false;    // guarded by mutex
    bool frameLost = false;  // guarded by mutex: it vanished while a task ran
};

// Main thread, before the task is started. False, and nothing changed, while another one runs.
[[nodiscard]] bool StartTransfer();

// From any thread.
[[nodiscard]] bool TransferRunning();

// Main thread. Releases what belonged to a frame that vanished during the task that has ended. True when the
// panel may be enabled: a frame is online whole, and no task runs.
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

// The online task's: a new frame may come while a task of the last one is still ending. Waits for that, and
// releases what the last frame left.
class OnlineOwner : public TransferOwner {
  public:
    OnlineOwner();
};

// Main thread, when the frame vanishes. True when a task runs: it sends no more commands, and the release
// waits for its end.
bool MarkFrameLost();

// True while the device link holds a frame. From any thread.
[[nodiscard]] bool FrameOnline();

}  // namespace lumato::store
