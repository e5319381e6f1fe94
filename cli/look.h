// Frames that are only looked at: nothing is written to any of them, their volumes stay mounted, their clocks
// as they are, and no local folder is touched. One is open at a time.
//
// Main thread only.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tl/expected.hpp>

#include "cli/arguments.h"
#include "cli/output.h"
#include "cli/terminal_status.h"
#include "device/comm_usb.h"
#include "platform/bus.h"
#include "platform/linux/usb_bus.h"
#include "platform/trace.h"
#include "vframe/virtual_bus.h"

namespace lumato::cli {

class Look : private platform::BusListener {
  public:
    enum class At {
        AllFrames,  // those on the USB bus, and the one that --frame names
        OneFrame,   // the one that --frame names, or the first on the bus
    };

    // Searches. Errors: the bus cannot be searched, the file that --frame names is no usable flash.
    [[nodiscard]] static tl::expected<std::unique_ptr<Look>, Failure> Search(const Arguments& arguments,
                                                                             At at);
    // Searches one frame and opens it. Errors: there is none, too.
    [[nodiscard]] static tl::expected<std::unique_ptr<Look>, Failure> OpenOne(const Arguments& arguments);

    ~Look() override;
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;

    // What may be frames, in the order in which they were found.
    [[nodiscard]] const std::vector<platform::BusService*>& Found() const { return m_found; }
    // Why the virtual frame that was asked for is not among them: another program has it.
    [[nodiscard]] const std::optional<Error>& VirtualFrameInUse() const { return m_virtualInUse; }

    // Opens the device and reads its information block and its picture table into the store's state. False
    // when it is no frame. Errors: it cannot be opened or read; it is not open then.
    [[nodiscard]] Result<bool> Open(platform::BusService& service);
    // Lets go of the open frame, if there is one.
    void Close();

    // The open frame's whole flash, read in pieces that its checksum confirms, showing progress.
    [[nodiscard]] Result<std::vector<std::uint8_t>> ReadFlash();

  private:
    explicit Look(const Arguments& arguments);

    tl::expected<void, Failure> SearchUsb(const Arguments& arguments);
    tl::expected<void, Failure> PlugVirtualFrame(const Arguments& arguments);
    tl::expected<void, Failure> Start(platform::Bus& bus);
    void ServiceAppeared(platform::BusService& service) override;
    void ServiceDisappeared(platform::BusService& service) override;

    TerminalStatus m_status;
    std::shared_ptr<platform::TraceLog> m_trace;
    std::unique_ptr<platform::UsbBus> m_usbBus;
    std::unique_ptr<vframe::VirtualBus> m_virtualBus;
    std::vector<std::unique_ptr<platform::Bus>> m_wrappers;  // around the two
    std::vector<platform::BusService*> m_found;
    std::optional<Error> m_virtualInUse;
    std::unique_ptr<device::CCommUSB> m_link;
};

}  // namespace lumato::cli
