// The device link: finds the frame, checks its identity, holds it for exclusive use, and notices its removal.
// What is sent to it goes through attached_frame.h.
//
// Discovery runs on the main thread, which waits for no task in it.
#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "device/attached_frame.h"
#include "platform/bus.h"
#include "platform/task.h"
#include "platform/volumes.h"

namespace lumato::device {

// What the link tells the room above it.
class FramePort {
  public:
    virtual ~FramePort() = default;

    // Called on the main thread before a device-online task is started: it will use the store until its end.
    virtual void BeginOnline() {}

    // Brings the store online with this frame, which may be gone again; called on the device-online task,
    // when that of the last frame has ended.
    virtual void SetFlashOnline(std::shared_ptr<AttachedFrame> frame) = 0;

    // Takes the store offline; called on the main thread when the frame has been released. A task that still
    // works with it cannot send it anything any more, and ends by itself.
    virtual void SetFlashOffline() = 0;

    // Why a device that may be a frame cannot be used: another program holds it, no permission, no bus.
    // Called on the thread that found out.
    virtual void ShowLinkError(const Error& error) { static_cast<void>(error); }

    // All that could not be used have gone again; called on the main thread.
    virtual void ForgetLinkErrors() {}
};

// What the vendor identification of a frame contains, in small letters.
inline constexpr std::string_view kFamily = "quorvane";

// The link's process-wide state. Every CCommUSB addresses the same single frame.
class LinkState {
  public:
    // The frame that the link holds, until the bus reports that it has gone; null without one. Any thread.
    [[nodiscard]] std::shared_ptr<AttachedFrame> Attached() const;
    // Main thread: holds `next` (null: none) from now on, and releases the frame of before.
    void Take(std::shared_ptr<AttachedFrame> next);

    platform::Task task;  // the last device-online task, which waits for those before it
    FramePort* frame = nullptr;

  private:
    mutable std::mutex m_mutex;  // guards m_attached
    std::shared_ptr<AttachedFrame> m_attached;
};

LinkState& Link();

// Back to the state at program start. Waits for the device-online task.
void ResetLink();

// EjectMyDPF() for these volumes, on any thread. Returns what stands in the way, for the caller to tell.
[[nodiscard]] std::vector<Error> EjectFrameVolumes(platform::Volumes& volumes);

class CCommUSB : private platform::BusListener {
  public:
    // Starts discovery on the platform's bus; frames already present come online before it returns (their
    // online task is then running).
    void IniUSBDevice();

    // AttachedFrame::SendCmdToDPF of the frame that the link holds; false without one.
    bool SendCmdToDPF(char* commandBlock, char* data, int length, int direction);

    // True starts the device-online task; false releases the frame and takes the store offline. Main thread.
    void SetUSBDeviceStatus(bool online);
    // Reads false from the moment a command has found the device gone, from any thread.
    bool GetUSBDeviceStatus();

    // Unmounts every volume that has "LanguageUnicode.ini" in its root.
    void EjectMyDPF();

    // Lets go of the frame and waits for the device-online task. The end of the process, which follows at
    // shutdown, is the caller's to give.
    void DevClose();

  private:
    void ServiceAppeared(platform::BusService& service) override;
    void ServiceDisappeared(platform::BusService& service) override;

    std::set<std::string> m_unusable;  // the names of those that were told of
};

}  // namespace lumato::device
