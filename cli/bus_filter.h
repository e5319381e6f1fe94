// A bus that shows one device of another bus and no other.
//
// Main thread only, as every bus.
#pragma once

#include <tl/expected.hpp>

#include "base/file.h"
#include "cli/arguments.h"
#include "cli/output.h"
#include "platform/bus.h"

namespace lumato::cli {

// Whether --frame names a device node, and so a real frame; anything else is the image of a virtual one.
[[nodiscard]] bool IsDeviceNode(const Path& frame);

// Whether --frame names a virtual one. Wrong usage: it does not, and --fault or --pace asks for what only a
// virtual one does.
[[nodiscard]] tl::expected<bool, Failure> IsVirtual(const Arguments& arguments);

class OneDeviceBus : public platform::Bus, private platform::BusListener {
  public:
    // Requires: the bus outlives this object.
    OneDeviceBus(platform::Bus& bus, const Path& node);

    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override;

  private:
    void ServiceAppeared(platform::BusService& service) override;
    void ServiceDisappeared(platform::BusService& service) override;

    platform::Bus& m_bus;
    const Path m_node;
    platform::BusListener* m_listener = nullptr;
};

}  // namespace lumato::cli
