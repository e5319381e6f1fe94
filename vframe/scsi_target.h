// The ordinary SCSI commands that a kernel sends to a small removable disk (SPC-2, SBC), as the frame answers
// them. The disk is write protected.
//
// REQUEST SENSE is not among them: it reports on other commands, see virtual_frame.h. One thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/scsi.h"
#include "vframe/sense.h"

namespace lumato::vframe {

inline constexpr std::string_view kFrameVendor = "QUORVANE";

class ScsiTarget {
  public:
    // `vendor`: as INQUIRY tells it, 8 characters at most.
    explicit ScsiTarget(std::string_view vendor = kFrameVendor);

    // Requires: the block is not empty.
    [[nodiscard]] Reply Execute(const platform::ScsiRequest& request) const;

  private:
    [[nodiscard]] Reply ReadBlocks(const platform::ScsiRequest& request) const;

    std::string m_vendor;
    std::vector<std::uint8_t> m_disk;
};

// Sends `answer` to the host, cut to `allocation` and to the data phase that there is. Refused when the data
// phase goes the other way.
[[nodiscard]] Reply SendAnswer(const platform::ScsiRequest& request, ByteSpan answer, std::size_t allocation);

}  // namespace lumato::vframe
