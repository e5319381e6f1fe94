// The local wall clock and what the system's time zone says at this moment.
//
// Callable from any thread.
#pragma once

namespace lumato::platform {

struct LocalTime {
    int year = 0;    // full, such as 2026
    int month = 0;   // 1 to 12
    int day = 0;     // 1 to 31
    int hour = 0;    // 0 to 23
    int minute = 0;  // 0 to 59
    int second = 0;  // 0 to 60: a leap second may show
    bool daylightSaving = false;
    int secondsEastOfGmt = 0;  // daylight saving included; negative to the west
};

class Clock {
  public:
    virtual ~Clock() = default;
    // One reading: all fields belong to the same instant.
    [[nodiscard]] virtual LocalTime Now() const = 0;
};

}  // namespace lumato::platform
