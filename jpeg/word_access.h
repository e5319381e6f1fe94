// Eight bytes at a time, at any address.
//
// No state; callable from any thread.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace lumato::jpeg {

[[nodiscard]] inline std::uint64_t BigEndian(std::uint64_t value) {
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap64(value);
    return value;
}

[[nodiscard]] inline std::uint64_t LittleEndian(std::uint64_t value) {
    if constexpr (std::endian::native == std::endian::big)
        return __builtin_bswap64(value);
    return value;
}

inline void StoreBigEndian(std::uint8_t* out, std::uint64_t value) {
    value = BigEndian(value);
    std::memcpy(out, &value, sizeof value);
}

[[nodiscard]] inline std::uint64_t LoadBigEndian(const std::uint8_t* in) {
    std::uint64_t value = 0;
    std::memcpy(&value, in, sizeof value);
    return BigEndian(value);
}

}  // namespace lumato::jpeg
