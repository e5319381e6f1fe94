// What the window is doing, and with it who owns the state of the rooms below.
//
// Main thread only. FrameLink alone changes the state.
#pragma once

#include "platform/volumes.h"

namespace lumato::app {

// One thing at a time. In the first four the main thread owns the store, the edit picture and the frame; in
// the others a task does.
enum class WindowState {
    NoFrame,      // none is attached
    Refused,      // one is, and is not worked with; its note says why
    Idle,         // a frame is online whole
    Loading,      // so it is, and a photograph for the edit view is on its way
    Reading,      // a frame goes online
    Adding,       // the edit picture
    Changing,     // the list: deleting, taking back, doing again
    AddingFiles,  // a batch
    Downloading,
    Saving,
    Checking,
    BackingUp,
    Restoring,
};

struct AppState {
    WindowState state = WindowState::NoFrame;
    // The computer's, borrowed; null: none. Not those of platform::Services, for the link would unmount the
    // frame's on the main thread; FrameLink has a task do that.
    platform::Volumes* volumes = nullptr;
};

AppState& App();

// True while no worker task runs: the main thread may then read and change the store, the edit picture and
// the frame. It only becomes false through the main thread's own doing, so that an answer holds until the
// caller returns to the event loop.
[[nodiscard]] bool MainThreadOwns();

// True while the user may change the list of a frame: it is online whole, and no task runs.
[[nodiscard]] bool IsReady();

}  // namespace lumato::app
