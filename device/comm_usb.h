// The device link: finds the frame, checks its identity, holds it for exclusive use, carries vendor command
// blocks and their data, and notices its removal.
//
// Discovery runs on the main thread; SendCmdToDPF on whichever thread owns the frame at that moment.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/bus.h"
#include "platform/scsi.h"
#include "platform/task.h"
#include "platform/volumes.h"

namespace lumato::device {

// What the link tells the room above it.
class FramePort {
  public:
    virtual ~FramePort() = default;

    // Brings the store online; called on the device-online task.
    virtual void SetFlashOnline() = 0;

    // Takes the store offline; called on the main thread when GetUSBDeviceStatus already reads false and the
    // device-online task has ended. Requires: when it returns, no other task can send anything to this frame
    // any more, so that what such a task still wanted to write can never reach the next frame.
    virtual void SetFlashOffline() = 0;

    // Why a device that may be a frame cannot be used: another program holds it, no permission, no bus.
    // Called on the thread that found out.
    virtual void ShowLinkError(const Error& error) { static_cast<void>(error); }
};

// What the vendor identification of a frame contains, in small letters.
inline constexpr std::string_view kFamily = "quorvane";

// The link's process-wide state. Every CCommUSB addresses the same single frame.
struct LinkState {
    std::atomic<bool> DeviceStatus{false};  // frame online
    // The open device has vanished or was let go, though the main thread has not yet taken it offline.
    std::atomic<bool> deviceGone{false};

    std::mutex deviceMutex;  // guards DevInterface, and the names, which only the main thread changes
    // The open device. The channel takes its own reference per command, so that a detachment on the main
    // thread never frees what a worker is using.
    std::shared_ptr<platform::ScsiDevice> DevInterface;

    std::string frameName;        // of the service that DevInterface was opened from
    std::string frameIndividual;  // what tells that frame from others of its model; may be empty
    platform::Task task;          // the last device-online task
    FramePort* frame = nullptr;
};

LinkState& Link();

// The frame that is held, for people, and what tells it from others of its model; both may be empty. From any
// thread.
struct FrameNames {
    std::string name;
    std::string individual;
};
[[nodiscard]] FrameNames NamesOfFrame();

// Back to the state at program start. Waits for the device-online task.
void ResetLink();

// EjectMyDPF() for these volumes. What stands in the way is told to the frame port, on the calling thread.
void EjectFrameVolumes(platform::Volumes& volumes);

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

    // True starts the device-online task; false waits for it and takes the store offline, on the calling
    // (main) thread.
    void SetUSBDeviceStatus(bool online);
    // Reads false from the moment a command has found the device gone, from any thread.
    bool GetUSBDeviceStatus();

    // Asks the open device once more who it is, if it is hardware: false when it is no frame of the family
    // any more, and nothing may be erased. A virtual frame is asked nothing.
    bool ConfirmIdentity();

    // Unmounts every volume that has "LanguageUnicode.ini" in its root.
    void EjectMyDPF();

    // Lets go of the frame and waits for the device-online task. The end of the process, which follows at
    // shutdown, is the caller's to give.
    void DevClose();

  private:
    void ServiceAppeared(platform::BusService& service) override;
    void ServiceDisappeared(platform::BusService& service) override;
};

}  // namespace lumato::device
