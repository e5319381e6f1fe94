#include "cli/wait_for_usb.h"

#include <chrono>

#include <poll.h>

namespace lumato::cli {
namespace {

constexpr std::chrono::seconds kSettlingTime{6};
constexpr int kGlanceMilliseconds = 50;

}  // namespace

void WaitForUsb(platform::UsbBus& bus, const std::function<bool()>& enough) {
    const auto end = std::chrono::steady_clock::now() + kSettlingTime;
    // Twice settled: between two steps of the kernel a device may show nowhere for an instant.
    for (int settled = 0; settled < 2 && !enough();) {
        if (std::chrono::steady_clock::now() >= end)
            return;
        pollfd wait{.fd = bus.Descriptor(), .events = POLLIN, .revents = 0};
        ::poll(&wait, 1, kGlanceMilliseconds);
        bus.DeliverEvents();
        settled = bus.IsSettling() ? 0 : settled + 1;
    }
}

}  // namespace lumato::cli
