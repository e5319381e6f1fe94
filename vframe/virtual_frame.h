// The virtual frame: a flash chip behind the vendor commands, and a small disk, as one SCSI device.
//
// Every change is in the image file when Execute returns, so that killing the program is pulling the plug.
// Commands may come from any thread; one runs at a time. Unplug() and IsGone() may be called meanwhile.
#pragma once

#include <atomic>
#include <mutex>
#include <vector>

#include "platform/scsi.h"
#include "vframe/nor_chip.h"
#include "vframe/scsi_target.h"
#include "vframe/vendor_commands.h"

namespace lumato::vframe {

class VirtualFrame : public platform::ScsiDevice {
  public:
    // A frame that has just got power; `identity` is what it says of itself.
    explicit VirtualFrame(FlashImage flash, Identity identity = {});

    [[nodiscard]] platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override;
    [[nodiscard]] bool IsGone() const override { return m_gone; }

    // The first half of what the command would do (of its data, or of the unit it erases), reported as
    // failed. A command without data or unit does nothing.
    [[nodiscard]] platform::ScsiOutcome ExecuteHalf(const platform::ScsiRequest& request);

    // Does nothing and reports CHECK CONDITION.
    [[nodiscard]] platform::ScsiOutcome ReportFailure();

    // The frame is gone at once and for ever, and its image file is free when it returns.
    void Unplug();

    // A copy of the flash as it stands; nothing when its image cannot be read.
    [[nodiscard]] std::vector<std::uint8_t> FlashBytes() const;

  private:
    [[nodiscard]] Reply Dispatch(const platform::ScsiRequest& request);
    [[nodiscard]] Reply DispatchHalf(const platform::ScsiRequest& request, std::size_t& transferred);
    [[nodiscard]] Reply RequestSense(const platform::ScsiRequest& request);
    [[nodiscard]] platform::ScsiOutcome Report(const Reply& reply, std::size_t transferred);

    std::atomic<bool> m_gone{false};
    mutable std::mutex m_mutex;
    NorChip m_chip;
    VendorCommands m_vendor;
    ScsiTarget m_target;
    Sense m_sense;  // of the last command that failed, until it is asked for or another one begins
};

}  // namespace lumato::vframe
