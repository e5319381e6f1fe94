// Ctrl-C and SIGTERM while a frame is changed: the first asks the work to stop where that costs nothing, the
// second ends the program at once.
//
// Main thread; one at a time. Outside of such an object's life they end the program, as usual.
#pragma once

#include <array>
#include <csignal>

namespace lumato::cli {

class StopOnSignal {
  public:
    StopOnSignal();
    ~StopOnSignal();
    StopOnSignal(const StopOnSignal&) = delete;
    StopOnSignal& operator=(const StopOnSignal&) = delete;

    // Whether one has come since the program started: whatever begins now is not wanted any more.
    [[nodiscard]] static bool HasCome();

  private:
    std::array<struct sigaction, 2> m_before{};
};

}  // namespace lumato::cli
