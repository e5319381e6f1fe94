// Readers and writers of multi-byte numbers in byte buffers, and the 16-bit sum that guards flash transfers.
//
// Every function works on the first bytes of the given span. Requires: the span is long enough.
// No state; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace lumato {

using ByteSpan = std::span<const std::uint8_t>;
using MutableByteSpan = std::span<std::uint8_t>;

constexpr std::uint16_t GetLe16(ByteSpan b) {
    return static_cast<std::uint16_t>(b[0] | b[1] << 8);
}
constexpr std::uint32_t GetLe24(ByteSpan b) {
    return static_cast<std::uint32_t>(b[0] | b[1] << 8 | b[2] << 16);
}
constexpr std::uint32_t GetLe32(ByteSpan b) {
    return GetLe24(b) | static_cast<std::uint32_t>(b[3]) << 24;
}
constexpr std::uint16_t GetBe16(ByteSpan b) {
    return static_cast<std::uint16_t>(b[0] << 8 | b[1]);
}
constexpr std::uint32_t GetBe24(ByteSpan b) {
    return static_cast<std::uint32_t>(b[0] << 16 | b[1] << 8 | b[2]);
}
constexpr std::uint32_t GetBe32(ByteSpan b) {
    return static_cast<std::uint32_t>(GetBe16(b)) << 16 | GetBe16(b.subspan(2));
}

constexpr void PutLe16(MutableByteSpan b, std::uint32_t value) {
    b[0] = static_cast<std::uint8_t>(value);
    b[1] = static_cast<std::uint8_t>(value >> 8);
}
constexpr void PutLe24(MutableByteSpan b, std::uint32_t value) {
    PutLe16(b, value);
    b[2] = static_cast<std::uint8_t>(value >> 16);
}
constexpr void PutLe32(MutableByteSpan b, std::uint32_t value) {
    PutLe24(b, value);
    b[3] = static_cast<std::uint8_t>(value >> 24);
}
constexpr void PutBe16(MutableByteSpan b, std::uint32_t value) {
    b[0] = static_cast<std::uint8_t>(value >> 8);
    b[1] = static_cast<std::uint8_t>(value);
}
constexpr void PutBe24(MutableByteSpan b, std::uint32_t value) {
    b[0] = static_cast<std::uint8_t>(value >> 16);
    PutBe16(b.subspan(1), value);
}
constexpr void PutBe32(MutableByteSpan b, std::uint32_t value) {
    PutBe16(b, value >> 16);
    PutBe16(b.subspan(2), value);
}

// The sum of all bytes, taken as unsigned values, modulo 65,536: what the frame computes over its flash.
constexpr std::uint16_t Sum16(ByteSpan bytes) {
    std::uint32_t sum = 0;
    for (const std::uint8_t byte : bytes)
        sum += byte;
    return static_cast<std::uint16_t>(sum);
}

}  // namespace lumato
