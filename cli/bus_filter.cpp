#include "cli/bus_filter.h"

#include <system_error>

namespace lumato::cli {
namespace {

// The node itself, whatever link leads to it.
Path Resolved(const Path& node) {
    std::error_code error;
    Path resolved = std::filesystem::weakly_canonical(node, error);
    return error ? node : resolved;
}

}  // namespace

bool IsDeviceNode(const Path& frame) {
    std::error_code ignored;
    return frame.native().starts_with("/dev/sg") || std::filesystem::is_character_file(frame, ignored);
}

tl::expected<bool, Failure> IsVirtual(const Arguments& arguments) {
    const bool isVirtual = arguments.frame && !IsDeviceNode(*arguments.frame);
    if (!isVirtual && (!arguments.faults.empty() || arguments.pace))
        return tl::unexpected<Failure>(
            Failure{kWrongUsage, "--fault and --pace are for a virtual frame; --frame FILE names one"});
    return isVirtual;
}

OneDeviceBus::OneDeviceBus(platform::Bus& bus, const Path& node) : m_bus(bus), m_node(Resolved(node)) {}

Result<void> OneDeviceBus::Start(platform::BusListener& listener) {
    m_listener = &listener;
    return m_bus.Start(*this);
}

void OneDeviceBus::ServiceAppeared(platform::BusService& service) {
    if (service.Name() == m_node.native())
        m_listener->ServiceAppeared(service);
}

void OneDeviceBus::ServiceDisappeared(platform::BusService& service) {
    if (service.Name() == m_node.native())
        m_listener->ServiceDisappeared(service);
}

}  // namespace lumato::cli
