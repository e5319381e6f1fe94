// Whether somebody wants an import to end before its time.
#pragma once

namespace lumato::picture {

// While it lives, imports that this thread begins ask this and end soon after it is true, with
// ErrorKind::Gone; nobody is told of those. One at a time on a thread.
class StopQuestion {
  public:
    explicit StopQuestion(bool (*isStopped)());
    ~StopQuestion();
    StopQuestion(const StopQuestion&) = delete;
    StopQuestion& operator=(const StopQuestion&) = delete;

    // False where nobody asks.
    [[nodiscard]] static bool IsStopped();
};

}  // namespace lumato::picture
