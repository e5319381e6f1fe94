// The operating system as the program is given it at start: the real one, or stand-ins.
//
// Set on the main thread before there are others; then read from any.
#pragma once

#include "platform/bus.h"
#include "platform/clock.h"
#include "platform/volumes.h"

namespace lumato::platform {

// Borrowed pointers; whoever starts the program (or the test) owns the objects and outlives all use.
struct Services {
    Bus* bus = nullptr;          // null: no bus to search
    Volumes* volumes = nullptr;  // null: no volumes are mounted
    Clock* clock = nullptr;      // null only where no frame is ever connected
};

// The one record. Set before the first frame can appear; only read afterwards.
Services& CurrentServices();

}  // namespace lumato::platform
