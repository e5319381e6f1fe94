// The bulk-only transport of USB mass storage (USB Mass Storage Class, Bulk-Only Transport 1.0), device side:
// command wrappers and data come in on one endpoint, data and status wrappers go out on the other.
//
// One thread at a time. A command is executed inside the call that completes it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/scsi.h"
#include "vframe/plugged_frame.h"
#include "vframe/usb_fault.h"

namespace lumato::vframe {

class BulkOnly {
  public:
    // `frame` gets the faults, `device` the commands: the frame itself or a wrapper around it. Requires: both
    // outlive this object.
    BulkOnly(PluggedFrame& frame, platform::ScsiDevice& device) : m_frame(frame), m_device(device) {}

    // A packet from the host. False: the endpoint is halted.
    [[nodiscard]] bool Take(ByteSpan packet);

    struct Answer {
        bool halted = false;
        std::vector<std::uint8_t> bytes;
    };
    // What a request of the host for up to `length` bytes gets; nothing while there is nothing to say.
    [[nodiscard]] std::optional<Answer> Give(std::size_t length);

    // Bulk-only reset, or a reset of the bus: everything under way is forgotten.
    void Reset();
    // The host has cleared a halt; what follows may go on.
    void ClearHalt(bool towardsHost);

    void Order(const UsbFault& fault) { m_faults.push_back(fault); }

  private:
    enum class Phase { Command, DataOut, DataIn, Status, Silent, Broken };

    [[nodiscard]] bool BeginCommand(ByteSpan wrapper);
    void Execute();
    void CountVendorCommand();
    void SpoilAnswer(TransportFault fault);
    [[nodiscard]] Answer GiveData(std::size_t length);
    [[nodiscard]] Answer GiveStatus();

    PluggedFrame& m_frame;
    platform::ScsiDevice& m_device;
    std::vector<UsbFault> m_faults;

    Phase m_phase = Phase::Command;
    std::uint32_t m_tag = 0;
    std::vector<std::uint8_t> m_block;
    platform::Direction m_direction = platform::Direction::None;
    std::size_t m_expected = 0;        // length of the data phase as the host sees it
    std::vector<std::uint8_t> m_data;  // received so far, or to be sent
    std::size_t m_given = 0;           // bytes of m_data that the host has
    bool m_halted = false;             // the endpoint towards the host
    std::uint32_t m_residue = 0;
    std::uint8_t m_status = 0;
    std::optional<TransportFault> m_fault;  // of the command under way
};

}  // namespace lumato::vframe
