// Reading the pictures of the table back, for those who know more of them than the table says.
//
// Used by the thread that owns the frame and the store.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"
#include "store/picture_list.h"

namespace lumato::store {

// Whether the bytes read for table slot `slot` (from 1) are those of its picture; if not, the slot is
// cleared.
using StreamCheck = std::function<bool(int slot, ByteSpan stream)>;

// A picture's bytes on the frame. Requires: they lie inside the flash.
[[nodiscard]] Result<std::vector<std::uint8_t>> ReadPictureBytes(std::int32_t address, std::int32_t length);
// Fails when the task that reads is to end (transfer.h).
[[nodiscard]] Result<void> MayReadOn();
// The bytes of a listed picture, stored at `address`: of its local file or, where it has none, from its place
// on the frame with the blocks at risk put back.
[[nodiscard]] Result<std::vector<std::uint8_t>> StreamOf(const FileData& record, std::int32_t address);
// The same for a download that moves it away from there: it has a local file then. Errors: Refused, too, for
// one that is shorter than the picture.
[[nodiscard]] Result<std::vector<std::uint8_t>> StreamToWrite(FileData& record, std::int32_t address);

// ReadPicFromFlash() (store.h), which takes any bytes that decode. What is beyond LocalRoom's bounds is
// listed all the same, with the reason, and keeps its slot.
[[nodiscard]] Result<void> ReadPictures(const StreamCheck& check = {});

}  // namespace lumato::store
