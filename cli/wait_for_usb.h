// A frame that was plugged in a moment ago takes the system a second or two.
//
// Main thread only.
#pragma once

#include <functional>

#include "platform/linux/usb_bus.h"

namespace lumato::cli {

// Delivers the events of a bus that was started until the system has settled, `enough` says that what was
// wanted is there, or some seconds have passed.
void WaitForUsb(platform::UsbBus& bus, const std::function<bool()>& enough);

}  // namespace lumato::cli
