// The window's process-wide state, and who owns that of the rooms below.
//
// Main thread only.
#pragma once

#include "platform/volumes.h"

namespace lumato::app {

struct AppState {
    // Online tasks that were started and whose end the main thread has not yet been told of.
    int onlineTasks = 0;
    // A download or a batch was started, and its refresh event has not yet been handled.
    bool transferStarted = false;
    // The computer's, borrowed; null: none. Not those of platform::Services, for the link would unmount the
    // frame's on the main thread; FrameLink has a task do that.
    platform::Volumes* volumes = nullptr;
};

AppState& App();

// True while no worker task runs: the main thread may then read and change the store, the edit picture and
// the frame. It only becomes false through the main thread's own doing, so that an answer holds until the
// caller returns to the event loop.
[[nodiscard]] bool MainThreadOwns();

}  // namespace lumato::app
