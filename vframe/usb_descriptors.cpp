#include "vframe/usb_descriptors.h"

#include <string_view>

namespace lumato::vframe {
namespace {

using Bytes = std::vector<std::uint8_t>;

enum DescriptorType : std::uint8_t {
    kDevice = 1,
    kConfiguration = 2,
    kString = 3,
    kInterface = 4,
    kEndpoint = 5
};

constexpr std::uint8_t Low(std::uint16_t value) {
    return static_cast<std::uint8_t>(value);
}
constexpr std::uint8_t High(std::uint16_t value) {
    return static_cast<std::uint8_t>(value >> 8);
}

Bytes DeviceDescriptor() {
    return {18,
            kDevice,
            0x00,
            0x02,
            0,
            0,
            0,
            64,
            Low(kVendorId),
            High(kVendorId),
            Low(kProductId),
            High(kProductId),
            Low(kReleaseBcd),
            High(kReleaseBcd),
            1,
            2,
            0,
            1};
}

Bytes ConfigurationDescriptor() {
    constexpr std::uint8_t total = 9 + 9 + 7 + 7;
    constexpr std::uint8_t bulk = 2;
    return {9,
            kConfiguration,
            total,
            0,
            1,
            1,
            0,
            0x80,
            250,
            9,
            kInterface,
            0,
            0,
            2,
            kStorageClass,
            kStorageSubclass,
            kStorageProtocol,
            0,
            7,
            kEndpoint,
            kEndpointOut,
            bulk,
            Low(kBulkPacket),
            High(kBulkPacket),
            0,
            7,
            kEndpoint,
            kEndpointIn,
            bulk,
            Low(kBulkPacket),
            High(kBulkPacket),
            0};
}

Bytes StringDescriptor(std::string_view text) {
    Bytes descriptor = {static_cast<std::uint8_t>(2 + 2 * text.size()), kString};
    for (const char c : text) {
        descriptor.push_back(static_cast<std::uint8_t>(c));
        descriptor.push_back(0);
    }
    return descriptor;
}

}  // namespace

std::optional<Bytes> Descriptor(std::uint16_t value) {
    switch (value) {
        case kDevice << 8:
            return DeviceDescriptor();
        case kConfiguration << 8:
            return ConfigurationDescriptor();
        case kString << 8:
            return Bytes{4, kString, 0x09, 0x04};  // English (USB-IF language identifiers)
        case kString << 8 | 1:
            return StringDescriptor("Quorvane");
        case kString << 8 | 2:
            return StringDescriptor("Photo Frame");
        default:
            return std::nullopt;
    }
}

}  // namespace lumato::vframe
