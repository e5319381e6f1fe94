#include "vframe/usb_fault.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

namespace lumato::vframe {
namespace {

constexpr std::pair<std::string_view, TransportFault> kTransportKinds[] = {
    {"silent", TransportFault::Silent},    {"short", TransportFault::Short},
    {"residue", TransportFault::Residue},  {"phase", TransportFault::Phase},
    {"unplug-in", TransportFault::PullIn}, {"unplug-after", TransportFault::PullAfter},
};

// The bytes; none when the text is not whole bytes in hex.
std::vector<std::uint8_t> ParseHex(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    for (; text.size() >= 2; text.remove_prefix(2)) {
        std::uint8_t byte = 0;
        const char* end = text.data() + 2;
        const auto [stopped, error] = std::from_chars(text.data(), end, byte, 16);
        if (error != std::errc{} || stopped != end)
            return {};
        bytes.push_back(byte);
    }
    return text.empty() ? bytes : std::vector<std::uint8_t>();
}

Result<UsbFault> ParseNumberAndKind(std::string_view text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string_view kind = text.substr(std::min(colon + 1, text.size()));
    const auto* found =
        std::ranges::find(kTransportKinds, kind, [](const auto& known) { return known.first; });
    const bool ofTransport = found != std::end(kTransportKinds);
    // The number is read with any kind that the other parser knows.
    const std::string readable =
        ofTransport ? std::string(text.substr(0, colon)) + ":refuse" : std::string(text);
    LUMATO_TRY(const Fault fault, ParseFault(readable));
    UsbFault usbFault{.command = fault.command, .kind = fault.kind};
    if (ofTransport)
        usbFault.kind = found->second;
    return usbFault;
}

}  // namespace

Result<UsbFault> ParseUsbFault(std::string_view text) {
    const std::size_t blank = text.find(' ');
    LUMATO_TRY(UsbFault fault, ParseNumberAndKind(text.substr(0, blank)));
    if (blank != std::string_view::npos) {
        fault.block = ParseHex(text.substr(blank + 1));
        if (fault.block.empty())
            return Fail(ErrorKind::Unsupported,
                        "fault \"" + std::string(text) + "\": the block's first bytes are given in hex");
    }
    return fault;
}

}  // namespace lumato::vframe
