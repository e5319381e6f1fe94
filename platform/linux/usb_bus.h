// The USB bus: the SCSI devices on it that may be a frame, those there at the start and those that come and
// go.
//
// Main thread only, as every bus; the devices that were opened from it may be used on any thread. Nothing
// blocks: wait on Descriptor() in the main loop and call DeliverEvents() when it is readable.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "base/file.h"
#include "platform/bus.h"
#include "platform/linux/scsi_candidates.h"

struct udev;
struct udev_monitor;

namespace lumato::platform {

// The program that, run by root with the word "permit", lets the computer's users use frames: the one beside
// this one, or the installed one.
[[nodiscard]] Path PermitProgram();
// The command for that, as it can be typed here.
[[nodiscard]] std::string PermitCommand();

struct UsbBusOptions {
    // What the vendor of a frame contains, in small letters. A device whose vendor lacks it is opened for
    // reading alone, which lets an INQUIRY pass and nothing that could change it.
    std::string family;
    // For tests.
    Path sysRoot = "/sys";
    Path deviceRoot = "/dev";
    bool watch = true;  // false: nothing comes or goes by itself
    // How long a frame that has just come may lack its node, or the permission to use it.
    std::chrono::milliseconds patience{5000};
};

class UsbBus : public Bus {
  public:
    explicit UsbBus(UsbBusOptions options);
    ~UsbBus() override;
    UsbBus(const UsbBus&) = delete;
    UsbBus& operator=(const UsbBus&) = delete;

    // Errors: Unreadable (the system cannot report what comes and goes), Unsupported (no libudev).
    [[nodiscard]] Result<void> Start(BusListener& listener) override;

    // Readable when something has come or gone; -1 before Start().
    [[nodiscard]] int Descriptor() const;
    // Tells the listener of it, and of frames whose node is ready by now.
    void DeliverEvents();
    // True while a frame lacks its node or the permission to use it: then DeliverEvents() is to be called now
    // and then, too, as no event tells of either.
    [[nodiscard]] bool AwaitsNode() const { return !m_late.empty(); }

    // True when there is anything to announce now. May be asked before Start().
    [[nodiscard]] bool HasCandidates() const;
    // True while the system still looks at a storage device that was just plugged in.
    [[nodiscard]] bool IsSettling() const;

    // One device has come, changed or gone, by its folder in sysfs. One that changed is announced once more
    // when there was no permission to open it, or no node.
    void DeviceAdded(const Path& deviceFolder);
    void DeviceRemoved(const Path& deviceFolder);

  private:
    class Service;
    struct Releaser {
        void operator()(udev* context) const;
        void operator()(udev_monitor* monitor) const;
    };

    [[nodiscard]] Result<void> Watch();
    [[nodiscard]] bool IsPrepared(const ScsiCandidate& candidate) const;
    // The announced device there, null when there is none.
    [[nodiscard]] Service* Find(const Path& sysPath) const;
    void Announce(ScsiCandidate candidate);
    void AnnounceLate();
    [[nodiscard]] Path NodeOf(const ScsiCandidate& candidate) const;
    // Has just come, and cannot be opened yet.
    [[nodiscard]] bool IsUnready(const ScsiCandidate& candidate) const;

    UsbBusOptions m_options;
    BusListener* m_listener = nullptr;
    bool m_udevRuns = false;  // when watching began
    struct Late {
        ScsiCandidate candidate;
        std::chrono::steady_clock::time_point until;
    };
    std::vector<Late> m_late;
    std::vector<std::unique_ptr<Service>> m_services;  // kept to the end, as a listener may hold on to one
    std::unique_ptr<udev, Releaser> m_udev;
    std::unique_ptr<udev_monitor, Releaser> m_monitor;
};

}  // namespace lumato::platform
