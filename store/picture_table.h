// The frame's picture table: which pictures its flash holds, and where.
//
//   0     signature "ABFS"; the rest of the 16-byte header is not ours and is kept as read
//   16    510 slots of 8 bytes: status, 24-bit address, 0, 24-bit length, little-endian
//   4094  end mark 55h AAh, inside the last slot
//
// Used by the thread that owns the table.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "store/store_state.h"

namespace lumato::store {

inline constexpr int kTableHeaderSize = 16;
inline constexpr int kSlotSize = 8;
inline constexpr int kSlotCount = 510;  // the last one holds the end mark and describes no picture
inline constexpr int kEndMarkOffset = 4094;

inline constexpr std::uint8_t kSlotFree = 0;
inline constexpr std::uint8_t kSlotStored = 1;
inline constexpr std::uint8_t kSlotErased = 0xFF;
// In memory alone: slot k is that of the list's k-th picture, and one that waits before a stored one keeps
// its slot with this. A download fills it.
inline constexpr std::uint8_t kSlotReserved = 2;

// Whether the 4,096 bytes are a table: signature and end mark are there (flash_layout.cpp).
[[nodiscard]] bool IsTable(ByteSpan table);

// The 8 bytes of slot 1 to 510 of a table. A list can be longer than a table, with pictures that wait: they
// get a free slot that is in no table, and what is written into it is lost.
[[nodiscard]] MutableByteSpan SlotOf(MutableByteSpan table, int slot);
// Pictures that the table lists.
[[nodiscard]] int CountStored(MutableByteSpan table);
// Bytes of all of them: slots can overlap, and claim more than a flash has.
[[nodiscard]] std::int64_t StoredBytes(MutableByteSpan table);
[[nodiscard]] inline std::int32_t SlotAddress(ByteSpan slot) {
    return static_cast<std::int32_t>(GetLe24(slot.subspan(1)));
}
[[nodiscard]] inline std::int32_t SlotLength(ByteSpan slot) {
    return static_cast<std::int32_t>(GetLe24(slot.subspan(5)));
}
inline void FillSlot(MutableByteSpan slot, std::int32_t address, std::int32_t length) {
    slot[0] = kSlotStored;
    PutLe24(slot.subspan(1), static_cast<std::uint32_t>(address));
    slot[4] = 0;
    PutLe24(slot.subspan(5), static_cast<std::uint32_t>(length));
}
inline void SetEndMark(MutableByteSpan table) {
    table[kEndMarkOffset] = 0x55;
    table[kEndMarkOffset + 1] = 0xAA;
}

}  // namespace lumato::store
