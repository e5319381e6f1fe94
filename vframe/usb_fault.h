// Faults on order of a frame on a USB bus: those of its commands, and those of the transport that carries
// them.
//
// Plain values, no state; any thread.
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

#include "base/error.h"
#include "vframe/faults.h"

namespace lumato::vframe {

enum class TransportFault {
    Silent,     // not executed, and no answer until the host resets the device
    Short,      // the second half of the data to the host is missing, reported good
    Residue,    // executed, with a status that claims that no data moved
    Phase,      // executed, with a phase error for a status: the host has to reset
    PullIn,     // the plug is pulled when half of its data has moved, or half of the unit is erased
    PullAfter,  // the plug is pulled when it has been answered to its end
};

struct UsbFault {
    // Counted from 1 over the vendor commands from the order on: a kernel sends others whenever it likes.
    std::uint64_t command = 1;
    std::variant<FaultKind, TransportFault> kind;
    // When not empty, commands whose block begins with these bytes are counted instead.
    std::vector<std::uint8_t> block = {};

    bool operator==(const UsbFault&) const = default;
};

// "N:KIND" or "N:KIND BLOCK": the kind as for ParseFault() or silent, short, residue, phase, unplug-in,
// unplug-after; the block's first bytes in hex. Errors: Unsupported.
[[nodiscard]] Result<UsbFault> ParseUsbFault(std::string_view text);

}  // namespace lumato::vframe
