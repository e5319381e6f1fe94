// Counts long work and tells the status port: never backwards, and how long it will still take once there is
// something to tell it by.
//
// One object for each phase of a task; used by the thread that runs it.
#pragma once

#include <chrono>

#include "store/progress.h"

namespace lumato::store {

class ProgressMeter {
  public:
    ProgressMeter(Phase phase, int pictures, std::int64_t totalBytes);

    // So many bytes are done, and this picture is in hand.
    void Reach(int picture, std::int64_t bytes);

  private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point m_begin = Clock::now();
    Progress m_progress;
};

}  // namespace lumato::store
