#include "vframe/pace.h"

#include <algorithm>
#include <thread>

#include "vframe/vendor_commands.h"

namespace lumato::vframe {
namespace {

using Clock = std::chrono::steady_clock;
using platform::ScsiOutcome;
using platform::ScsiRequest;

constexpr double kLinkBytesPerSecond = 800000;
constexpr double kErasedBytesPerSecond = 65536 / 0.5;
constexpr double kSecondsPerPage = 0.0007;
constexpr std::size_t kPageSize = 256;
constexpr Seconds kLongestWait{3600};            // keeps an absurd speed inside the clock's range
constexpr std::chrono::milliseconds kGlance{4};  // how soon a wait notices that the device is gone

double ChipSeconds(const ScsiRequest& request) {
    const double erase = static_cast<double>(ErasedBytes(request.block)) / kErasedBytesPerSecond;
    if (!IsProgram(request.block))
        return erase;
    const std::size_t intoPage = GetBe24(request.block.subspan(11)) % kPageSize;
    const std::size_t pages = (intoPage + request.data.size() + kPageSize - 1) / kPageSize;
    return static_cast<double>(pages) * kSecondsPerPage;
}

}  // namespace

Seconds RealDuration(const ScsiRequest& request, const ScsiOutcome& outcome) {
    if (!outcome.executed)
        return Seconds(0);
    const bool dataPhase = request.direction != platform::Direction::None;
    const double link = dataPhase ? static_cast<double>(request.data.size()) / kLinkBytesPerSecond : 0;
    return Seconds(link + (outcome.status == platform::kStatusGood ? ChipSeconds(request) : 0));
}

Clock::duration PacedDuration(const ScsiRequest& request, const ScsiOutcome& outcome, double speed) {
    return std::chrono::duration_cast<Clock::duration>(
        std::min(RealDuration(request, outcome) / speed, kLongestWait));
}

ScsiOutcome PacedDevice::Execute(const ScsiRequest& request) {
    const Clock::time_point begin = Clock::now();
    ScsiOutcome outcome = m_device.Execute(request);
    if (m_speed <= 0)
        return outcome;
    const Clock::time_point end = begin + PacedDuration(request, outcome, m_speed);
    for (Clock::time_point now = Clock::now(); now < end; now = Clock::now()) {
        if (m_device.IsGone())
            return {};
        std::this_thread::sleep_until(std::min(now + kGlance, end));
    }
    return outcome;
}

}  // namespace lumato::vframe
