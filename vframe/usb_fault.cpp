#include "vframe/usb_fault.h"

#include <algorithm>
#include <string>
#include <utility>

namespace lumato::vframe {
namespace {

constexpr std::pair<std::string_view, TransportFault> kKinds[] = {
    {"silent", TransportFault::Silent},
    {"short", TransportFault::Short},
    {"residue", TransportFault::Residue},
    {"phase", TransportFault::Phase},
};

}  // namespace

Result<UsbFault> ParseUsbFault(std::string_view text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string_view kind = text.substr(std::min(colon + 1, text.size()));
    const auto* found = std::ranges::find(kKinds, kind, [](const auto& known) { return known.first; });
    const bool ofTransport = found != std::end(kKinds);
    // The number is read with any kind that the other parser knows.
    const std::string readable =
        ofTransport ? std::string(text.substr(0, colon)) + ":refuse" : std::string(text);
    LUMATO_TRY(const Fault fault, ParseFault(readable));
    UsbFault usbFault{.command = fault.command, .kind = fault.kind};
    if (ofTransport)
        usbFault.kind = found->second;
    return usbFault;
}

}  // namespace lumato::vframe
