// A device that takes as long as a real frame: the USB link moves 800 KB a second, the chip erases 64 KB in
// half a second and programs a page of 256 bytes in 0.7 ms.
//
// Runs one command at a time, from any thread. A wait ends when the device vanishes.
#pragma once

#include <chrono>

#include "platform/scsi.h"

namespace lumato::vframe {

using Seconds = std::chrono::duration<double>;

// How long a real frame takes for the command, once it has been carried out with `outcome`.
[[nodiscard]] Seconds RealDuration(const platform::ScsiRequest& request,
                                   const platform::ScsiOutcome& outcome);

// The same for a frame that is `speed` times as fast, which is above 0.
[[nodiscard]] std::chrono::steady_clock::duration PacedDuration(const platform::ScsiRequest& request,
                                                                const platform::ScsiOutcome& outcome,
                                                                double speed);

class PacedDevice : public platform::ScsiDevice {
  public:
    // `speed` times as fast as a real one; 0: no waiting. Requires: the device outlives this object.
    PacedDevice(platform::ScsiDevice& device, double speed) : m_device(device), m_speed(speed) {}

    [[nodiscard]] platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override;
    [[nodiscard]] bool IsGone() const override { return m_device.IsGone(); }

  private:
    platform::ScsiDevice& m_device;
    double m_speed;
};

}  // namespace lumato::vframe
