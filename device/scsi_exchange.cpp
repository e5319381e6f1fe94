#include "device/scsi_exchange.h"

#include <algorithm>

#include "base/diagnostics.h"

namespace lumato::device {

using platform::Direction;

bool Exchange(platform::ScsiDevice& device, const platform::ScsiRequest& request,
              std::string_view executionError) {
    if (request.direction == Direction::In)
        std::ranges::fill(request.data, std::uint8_t{0});

    const platform::ScsiOutcome outcome = device.Execute(request);

    // A transport may move a whole buffer for a short answer; what lies behind the answer is not data.
    if (request.direction == Direction::In && outcome.transferred < request.data.size())
        std::ranges::fill(request.data.subspan(outcome.transferred), std::uint8_t{0});
    if (!outcome.executed)
        Diagnose(executionError);
    return outcome.executed && outcome.status == platform::kStatusGood;
}

}  // namespace lumato::device
