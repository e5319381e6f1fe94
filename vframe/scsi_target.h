// The ordinary SCSI commands that a kernel sends to a small removable disk (SPC-2, SBC), as the frame answers
// them. The disk is write protected.
//
// REQUEST SENSE is not among them: it reports on other commands, see virtual_frame.h. One thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/scsi.h"
#include "vframe/sense.h"

namespace lumato::vframe {

inline constexpr std::string_view kFrameVendor = "QUORVANE";

// What an INQUIRY is answered with.
struct Identity {
    std::string vendor = std::string(kFrameVendor);  // 8 characters at most
    std::uint8_t type = 0;                           // peripheral device type: 0 a disk, 5 a writer of discs
};

class ScsiTarget {
  public:
    explicit ScsiTarget(Identity identity = {});

    // Requires: the block is not empty.
    [[nodiscard]] Reply Execute(const platform::ScsiRequest& request) const;

  private:
    [[nodiscard]] Reply ReadBlocks(const platform::ScsiRequest& request) const;

    Identity m_identity;
};

// Sends `answer` to the host, cut to `allocation` and to the data phase that there is. Refused when the data
// phase goes the other way.
[[nodiscard]] Reply SendAnswer(const platform::ScsiRequest& request, ByteSpan answer, std::size_t allocation);

}  // namespace lumato::vframe
