// The frame's side of the window: the bus, the device link, and the tasks that work with the frame.
//
// Main thread only, but for what the link and the tasks call.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

#include "app/frame/frame_buses.h"
#include "app/parts/app_state.h"
#include "app/parts/main_thread_calls.h"
#include "device/comm_usb.h"
#include "picture/rv512_encoder.h"
#include "platform/linux/system_clock.h"
#include "platform/task.h"
#include "store/store.h"
#include "vframe/virtual_bus.h"

namespace lumato::app {

class FrameLink : public QObject, private store::StoreFramePort {
    Q_OBJECT

  public:
    struct Surroundings {
        platform::Bus* hardware = nullptr;     // where real frames appear; null: none do
        platform::Volumes* volumes = nullptr;  // null: there are none
        Path stateFolder;                      // of the journals
        std::function<void()> keepTrace = {};  // of what the frame was sent; any thread
    };
    // What is borrowed outlives this object, and the volumes every thread: one that unmounts may.
    FrameLink(store::StatusPort& status, const Surroundings& surroundings);
    ~FrameLink() override;

    // Starts discovery: frames that are there, and come later, go online by themselves.
    void IniUSBDevice();

    // Plugs in the virtual frame whose flash is the file; `pace` as FrameOptions has it. Errors: those of the
    // bus, and Busy when a frame is online already.
    [[nodiscard]] Result<void> AttachVirtualFrame(const Path& file, double pace);
    // Pulls the virtual frame's plug, whatever it is doing.
    void DetachVirtualFrame();
    [[nodiscard]] bool HasVirtualFrame() const { return m_virtualFrame != nullptr; }
    // Whether that is the file which holds the flash of the virtual frame.
    [[nodiscard]] bool IsFlashFile(const Path& file) const;
    // A frame of hardware is in use.
    [[nodiscard]] bool UsesHardware() const;
    // A copy of the virtual frame's flash; empty without one.
    [[nodiscard]] std::vector<std::uint8_t> VirtualFlash() const;

    // ---- what the window does: IsReady() -> one of these -> EndWork()

    // Hands the store over to a task that runs `body`, which must make a store::TransferOwner that posts the
    // refresh event. False, and nothing done, unless the window is ready.
    [[nodiscard]] bool BeginWork(WindowState work, std::function<void()> body);
    // The download: false (with nothing done) when it cannot begin. `done` is told on the main thread how it
    // ended, after the refresh.
    [[nodiscard]] bool BeginDownload(std::function<void(bool written)> done,
                                     std::function<bool()> prepare = {});
    // Takes the store back after a task's end, whatever has become of the frame. False while another task
    // runs, whose end will ask again.
    bool EndWork();
    // A photograph for the edit view is on its way, or no longer.
    void ShowLoading(bool loading);

    // Reads a frame once more with which nothing can be done: one that could not be read, or not to the end.
    void ReadAgain();
    [[nodiscard]] static bool CanReadAgain();

    // Ends everything, in the order of a shutdown.
    void CloseResource();

  signals:
    // A frame has come or gone; the edit picture of before, if any, means nothing to the next one.
    void FrameChanged();
    // No frame goes online any more; the one that did is, or is refused.
    void OnlineEnded();
    // A frame was found that this user must not use; or one that is used.
    void PermissionMissing(bool missing);
    // The window does something else now.
    void StateChanged();

  private:
    void Enter(WindowState state);
    void KeepTrace() const;
    void BeginOnline() override;
    void SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame) override;
    void SetFlashOffline() override;
    void ShowLinkError(const Error& error) override;
    void ForgetLinkErrors() override;
    void Tell(const Error& error);

    store::StatusPort& m_status;
    MainThreadCalls m_calls;
    platform::Volumes* const m_volumes;
    const std::function<void()> m_keepTrace;
    platform::SystemClock m_clock;
    picture::CRv512Encoder m_codec;
    vframe::VirtualBus m_virtualBus;
    FrameBuses m_buses;
    std::unique_ptr<device::CCommUSB> m_device;
    platform::BusService* m_virtualFrame = nullptr;
    Path m_flashFile;  // of that one
    platform::Task m_task;
    int m_readings = 0;  // online tasks whose end the main thread has not yet been told of
    bool m_closed = false;
};

}  // namespace lumato::app
