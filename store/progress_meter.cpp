#include "store/progress_meter.h"

#include <algorithm>

#include "store/store.h"

namespace lumato::store {
namespace {

// What was fast for a moment says little of the rest.
constexpr double kSecondsToKnow = 5;

}  // namespace

ProgressMeter::ProgressMeter(Phase phase, int pictures, std::int64_t totalBytes)
    : m_progress{.phase = phase, .pictures = pictures, .totalBytes = totalBytes} {}

void ProgressMeter::Reach(int picture, std::int64_t bytes) {
    m_progress.picture =
        std::clamp(picture, m_progress.picture, std::max(m_progress.pictures, m_progress.picture));
    m_progress.bytes = std::clamp(bytes, m_progress.bytes, std::max(m_progress.totalBytes, m_progress.bytes));
    const std::chrono::duration<double> taken = Clock::now() - m_begin;
    const double done = m_progress.Done();
    if (taken.count() >= kSecondsToKnow && done > 0)
        m_progress.secondsLeft = taken.count() * (1 - done) / done;
    if (StatusPort* status = Store().status)
        status->SetProgress(m_progress);
}

}  // namespace lumato::store
