// What the frame says of itself on a USB bus (USB 2.0, 9.6): a high-speed device with one mass-storage
// interface and its two bulk endpoints.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace lumato::vframe {

inline constexpr std::uint8_t kStorageClass = 0x08;
inline constexpr std::uint8_t kStorageSubclass = 0x06;  // SCSI commands
inline constexpr std::uint8_t kStorageProtocol = 0x50;  // bulk-only
inline constexpr std::uint8_t kEndpointOut = 0x01;
inline constexpr std::uint8_t kEndpointIn = 0x82;
inline constexpr std::uint16_t kBulkPacket = 512;
// Of the range that is set aside for tests (pid.codes).
inline constexpr std::uint16_t kVendorId = 0x1209;
inline constexpr std::uint16_t kProductId = 0x0001;
inline constexpr std::uint16_t kReleaseBcd = 0x0100;

// The descriptor that GET_DESCRIPTOR with this wValue asks for; none when there is no such.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> Descriptor(std::uint16_t value);

}  // namespace lumato::vframe
