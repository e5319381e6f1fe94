#include "store/frame_geometry.h"

#include <algorithm>
#include <cstdio>

#include "flash/checked_transfer.h"
#include "flash/command_block.h"

namespace lumato::store {
namespace {

using flash::kBlockSize;

tl::unexpected<Error> Senseless(const char* key, const char* reason) {
    return Fail(ErrorKind::Refused, Phrase(key, reason));
}

Phrase UnknownErase(std::uint8_t instruction) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02X", unsigned{instruction});
    return Phrase("ERASES_UNKNOWN", "the frame erases in a way that is not known ({0}): it can only be read",
                  digits);
}

// A chip is erased in whole units, so that a part of one at its end never can be, and writing into the unit
// of the record by which the table is found would cost every picture on the frame.
std::int32_t WritableEnd(const ReportedGeometry& said, std::int32_t unit) {
    std::int32_t end = said.flashSize;
    if (said.tailRecord && *said.tailRecord > said.tableAddress)
        end = std::min(end, *said.tailRecord);
    return end / unit * unit;
}

bool TouchesTableBlock(std::int32_t record, std::int32_t table) {
    return record + kTailRecordSize > table && record < table + kBlockSize;
}

}  // namespace

Result<FrameGeometry> FrameGeometry::Of(const ReportedGeometry& said) {
    if (said.lcdWidth < 1 || said.lcdHeight < 1)
        return Senseless("SAYS_NO_DISPLAY", "the frame reports no display size");
    if (said.tableAddress < kBlockSize || said.tableAddress % kBlockSize != 0)
        return Senseless("SAYS_TABLE_NOWHERE", "the frame reports a picture table where none can be");
    // 60h and C7h erase the whole chip (SPI NOR data sheets), firmware included.
    if (said.eraseInstruction == 0x60 || said.eraseInstruction == 0xC7)
        return Senseless("SAYS_ERASE_ALL",
                         "the frame reports an erase instruction that would erase its firmware");
    if (said.tailRecord && TouchesTableBlock(*said.tailRecord, said.tableAddress))
        return Senseless("SAYS_TABLE_OVER_END",
                         "the frame reports a picture table over the end of its firmware");

    FrameGeometry geometry;
    geometry.lcdWidth = said.lcdWidth;
    geometry.lcdHeight = said.lcdHeight;
    geometry.tableAddress = said.tableAddress;
    geometry.flashSize = said.flashSize;
    if (said.pictureLimit > 0)
        geometry.mostPictures = std::min(said.pictureLimit, kMostPictures);
    const std::uint32_t unit = flash::EraseUnitOf(said.eraseInstruction);
    geometry.writableEnd = WritableEnd(said, unit != 0 ? static_cast<std::int32_t>(unit) : kBlockSize);
    if (said.tableAddress + kBlockSize > geometry.writableEnd)
        return Senseless("SAYS_TABLE_BEYOND", "the frame reports a picture table beyond its flash");
    if (unit == 0) {
        geometry.whyReadOnly = UnknownErase(said.eraseInstruction);
        geometry.writableEnd = said.tableAddress;
    }
    return geometry;
}

std::int32_t FrameGeometry::PictureAreaSize() const {
    return std::max(0, writableEnd - PictureAreaStart());
}

std::int32_t FrameGeometry::FreeBeside(std::int64_t pictureBytes) const {
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(PictureAreaSize() - pictureBytes, 0, PictureAreaSize()));
}

bool FrameGeometry::HoldsPicture(std::int64_t address, std::int64_t length) const {
    return address >= tableAddress && address + length <= flashSize;
}

}  // namespace lumato::store
