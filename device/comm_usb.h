// The device link: finds the frame, checks its identity, holds it for exclusive use, carries vendor command
// blocks and their data, and notices its removal.
//
// Discovery runs on the main thread; SendCmdToDPF on whichever thread owns the frame at that moment.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/bus.h"
#include "platform/scsi.h"
#include "platform/task.h"

namespace lumato::device {

// What the link tells the room above it.
class FramePort {
  public:
    virtual ~FramePort() = default;
    // Brings the store online; called on the device-online task.
    virtual void SetFlashOnline() = 0;
    // Takes the store offline; called on the main thread.
    virtual void SetFlashOffline() = 0;
};

// The link's process-wide state. Every CCommUSB addresses the same single frame.
struct LinkState {
    std::atomic<bool> DeviceStatus{false};  // frame online
    // The open device. The channel takes its own reference per command, so that a detachment on the main
    // thread never frees what a worker is using. Guarded by the functions of CCommUSB.
    std::shared_ptr<platform::ScsiDevice> DevInterface;
    std::string frameName;  // of the service that DevInterface was opened from, for notes
    platform::Task task;    // the last device-online task
    FramePort* frame = nullptr;
};

LinkState& Link();
// Back to the state at program start. Requires: no task is running.
void ResetLink();

class CCommUSB : private platform::BusListener {
  public:
    CCommUSB();

    // Starts discovery on the platform's bus; frames already present come online before it returns (their
    // online task is then running).
    void IniUSBDevice();

    // Sends one 16-byte vendor command. `direction` 0: no data phase, 1: `data` is sent, 2: `data` is filled,
    // and bytes the frame does not send read as 0; any other code counts as 0. True only when the frame
    // completed the command with status GOOD.
    bool SendCmdToDPF(char* commandBlock, char* data, int length, int direction);

    void SetUSBDeviceStatus(bool online);
    bool GetUSBDeviceStatus();

    // Unmounts every volume that has "LanguageUnicode.ini" in its root.
    void EjectMyDPF();

    // Lets go of the frame. The end of the process, which follows at shutdown, is the caller's to give.
    void DevClose();
};

}  // namespace lumato::device
