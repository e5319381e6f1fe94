// The computer's own clock, in the zone of TZ or /etc/localtime. Callable from any thread.
#pragma once

#include "platform/clock.h"

namespace lumato::platform {

class SystemClock : public Clock {
  public:
    [[nodiscard]] LocalTime Now() const override;
};

}  // namespace lumato::platform
