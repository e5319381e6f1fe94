#include "platform/linux/system_clock.h"

#include <ctime>

namespace lumato::platform {

LocalTime SystemClock::Now() const {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::tzset();  // localtime_r alone may miss a TZ set since the program started
    ::localtime_r(&now, &local);
    return {.year = local.tm_year + 1900,
            .month = local.tm_mon + 1,
            .day = local.tm_mday,
            .hour = local.tm_hour,
            .minute = local.tm_min,
            .second = local.tm_sec,
            .daylightSaving = local.tm_isdst > 0,
            .secondsEastOfGmt = static_cast<int>(local.tm_gmtoff)};
}

}  // namespace lumato::platform
