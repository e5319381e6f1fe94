// A picture table and pictures on a flash, laid out byte by byte without the program's help.
#pragma once

#include <algorithm>

#include "base/bytes.h"

namespace lumato::test {

inline constexpr std::size_t kTableBytes = 4096;

// An empty table.
inline void PutTable(MutableByteSpan flash, std::size_t table) {
    const MutableByteSpan bytes = flash.subspan(table, kTableBytes);
    std::ranges::fill(bytes, std::uint8_t{0});
    std::copy_n("ABFS", 4, bytes.begin());
    bytes[kTableBytes - 2] = 0x55;
    bytes[kTableBytes - 1] = 0xAA;
}

// What the table says in its slot, from 1 on.
inline void PutSlot(MutableByteSpan flash, std::size_t table, std::size_t slot, std::uint8_t status,
                    std::size_t address, std::size_t length) {
    const MutableByteSpan bytes = flash.subspan(table + 8 + 8 * slot, 8);
    bytes[0] = status;
    PutLe24(bytes.subspan(1), static_cast<std::uint32_t>(address));
    PutLe24(bytes.subspan(5), static_cast<std::uint32_t>(length));
}

// A picture and its slot. The address behind it.
inline std::size_t PutPicture(MutableByteSpan flash, std::size_t table, std::size_t slot, ByteSpan stream,
                              std::size_t address, std::uint8_t status = 1) {
    std::ranges::copy(stream, flash.begin() + static_cast<std::ptrdiff_t>(address));
    PutSlot(flash, table, slot, status, address, stream.size());
    return address + stream.size();
}

}  // namespace lumato::test
