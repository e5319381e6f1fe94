// The program over a virtual bus with a home folder of its own: what the frame's target and the random lives
// plug frames into.
//
// Main thread only; the store's worker tasks run inside.
#pragma once

#include <memory>

#include "base/file.h"
#include "device/comm_usb.h"
#include "picture/rv512_encoder.h"
#include "platform/linux/system_clock.h"
#include "store/store.h"
#include "tests/support/recording_status.h"
#include "vframe/virtual_bus.h"

namespace lumato::fuzz {

// From the program's start to its end; the home folder, which exists, stays. One at a time.
class StoreProgram {
  public:
    // Without a state folder no journals are kept.
    explicit StoreProgram(const Path& home, const Path& stateFolder = {});
    ~StoreProgram();
    StoreProgram(const StoreProgram&) = delete;
    StoreProgram& operator=(const StoreProgram&) = delete;

    [[nodiscard]] vframe::VirtualBus& Bus() { return m_bus; }
    // Waits until the online task has ended, and does what the refresh event's handler does.
    void Settle();

  private:
    store::RecordingStatus m_status;
    platform::SystemClock m_clock;
    picture::CRv512Encoder m_codec;
    vframe::VirtualBus m_bus;
    store::StoreFramePort m_port;
    std::unique_ptr<device::CCommUSB> m_link;
};

// True when pictures may be added and deleted and a download may begin.
[[nodiscard]] bool IsOnline();

// The button, the task, and the refresh event's handler. True when it succeeded.
bool DownloadNow(vframe::VirtualBus& bus);

}  // namespace lumato::fuzz
