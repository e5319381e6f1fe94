// What lies where on a frame's flash, and how much of it can be written: one value, made at connection from
// what the frame says of itself, and asked by everybody who reads, plans, budgets or writes.
//
//   [firmware] [table][pictures ......................] [what cannot be written]
//              tableAddress  PictureAreaStart()         writableEnd              flashSize
//
// A value without state; callable from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/error.h"

namespace lumato::store {

inline constexpr int kTableSize = 4096;
inline constexpr int kMostPictures = 509;  // as many as a picture table describes

// A frame's own words, before anybody believed them.
struct ReportedGeometry {
    std::int32_t lcdWidth = 0;
    std::int32_t lcdHeight = 0;
    std::int32_t tableAddress = 0;
    std::int32_t flashSize = 0;
    std::uint8_t eraseInstruction = 0;
    std::int32_t pictureLimit = 0;           // 0: none
    std::optional<std::int32_t> tailRecord;  // where the firmware tells its end, if it has a header
};

// Bytes of the firmware's record of its own end.
inline constexpr std::int32_t kTailRecordSize = 64;

struct FrameGeometry {
    std::int32_t lcdWidth = 128;
    std::int32_t lcdHeight = 128;
    std::int32_t tableAddress = 0;
    std::int32_t flashSize = 0;    // end of what can be read
    std::int32_t writableEnd = 0;  // end of what can be erased and programmed: the table's address if nothing
    std::int32_t mostPictures = kMostPictures;
    Phrase whyReadOnly;  // why nothing can be written; empty: it can

    // Errors: Refused, for values that cannot be: what is erased and programmed later rests on them, and a
    // wrong one could cost the firmware.
    [[nodiscard]] static Result<FrameGeometry> Of(const ReportedGeometry& said);

    // Pictures begin behind the table.
    [[nodiscard]] std::int32_t PictureAreaStart() const { return tableAddress + kTableSize; }
    // Bytes that pictures may take in all.
    [[nodiscard]] std::int32_t PictureAreaSize() const;
    // What is left of them beside pictures of so many bytes: 0 to PictureAreaSize(), however many they claim.
    [[nodiscard]] std::int32_t FreeBeside(std::int64_t pictureBytes) const;
    // Whether a picture can be stored there: it may lie beyond what can be written, and is read all the same.
    [[nodiscard]] bool HoldsPicture(std::int64_t address, std::int64_t length) const;
    // Whether it can be written there.
    [[nodiscard]] bool CanWrite(std::int64_t address, std::int64_t length) const {
        return address >= tableAddress && address + length <= writableEnd;
    }
};

}  // namespace lumato::store
