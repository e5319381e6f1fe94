// The bulk-only transport of USB mass storage (USB Mass Storage Class, Bulk-Only Transport 1.0), device side:
// command wrappers and data come in on one endpoint, data and status wrappers go out on the other.
//
// One thread at a time. Nothing waits: a command is executed inside the call that completes it or, of a frame
// that is as slow as hardware, in the call of Continue() that comes when its time is over.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/scsi.h"
#include "vframe/plugged_frame.h"
#include "vframe/usb_fault.h"

namespace lumato::vframe {

class BulkOnly {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // `frame` gets the faults, `device` the commands: the frame itself or a wrapper around it. `speed` times
    // as fast as a real frame; 0: no waiting, and the frame itself must not wait in any case. Requires: both
    // outlive this object.
    BulkOnly(PluggedFrame& frame, platform::ScsiDevice& device, double speed = 0)
        : m_frame(frame), m_device(device), m_speed(speed) {}

    // A packet from the host. False: the endpoint is halted.
    [[nodiscard]] bool Take(ByteSpan packet);

    struct Answer {
        bool halted = false;
        std::vector<std::uint8_t> bytes;
    };
    // What a request of the host for up to `length` bytes gets; nothing while there is nothing to say.
    [[nodiscard]] std::optional<Answer> Give(std::size_t length);

    // When the command under way will have taken its time; none without one.
    [[nodiscard]] std::optional<Time> EndOfWork() const;
    // Carries it out, and has an answer from then on. Nothing to do before its time.
    void Continue(Time now);

    // The plug is pulled: of what the chip is doing, half is done. A fault on order may have pulled it.
    void Pull();
    [[nodiscard]] bool IsPulled() const { return m_pulled; }

    // Bulk-only reset, or a reset of the bus: everything under way is forgotten, but for what the chip does.
    void Reset();
    // The host has cleared a halt; what follows may go on.
    void ClearHalt(bool towardsHost);

    void Order(const UsbFault& fault) { m_faults.push_back(fault); }

  private:
    enum class Phase { Command, DataOut, Work, DataIn, Status, Silent, Broken };

    [[nodiscard]] bool BeginCommand(ByteSpan wrapper);
    [[nodiscard]] platform::ScsiRequest Request();
    void BeginWork();
    void Execute();
    void Count(UsbFault& fault);
    void SpoilAnswer(TransportFault fault);
    [[nodiscard]] bool IsPulledIn() const { return m_fault == TransportFault::PullIn; }
    [[nodiscard]] Answer GiveData(std::size_t length);
    [[nodiscard]] Answer GiveStatus();

    PluggedFrame& m_frame;
    platform::ScsiDevice& m_device;
    const double m_speed;
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
    Time m_endOfWork;
    bool m_pulled = false;
};

}  // namespace lumato::vframe
