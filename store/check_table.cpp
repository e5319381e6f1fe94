#include "store/check_table.h"

#include <algorithm>
#include <vector>

#include "flash/checked_transfer.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using TableBlock = std::vector<std::uint8_t>;

Result<TableBlock> ReadCheckedBlock() {
    const FrameGeometry& geometry = Store().geometry;
    TableBlock block(
        static_cast<std::size_t>(std::min(flash::kBlockSize, geometry.flashSize - geometry.tableAddress)));
    if (!flash::ReadFlashData(block.data(), static_cast<int>(block.size()), geometry.tableAddress))
        return Fail(ErrorKind::Unreadable, kTableUnreadable);
    return block;
}

// Why its slots cannot all be right; empty when they can.
Phrase WhyImpossible(std::array<std::uint8_t, kTableSize> table) {
    struct Place {
        std::int64_t begin, end;
        int position;
    };
    const FrameGeometry& geometry = Store().geometry;
    std::vector<Place> places{{geometry.tableAddress, geometry.tableAddress + kTableSize, 0}};
    for (int slot = 1; slot < kSlotCount; ++slot) {
        const ByteSpan entry = SlotOf(table, slot);
        if (entry[0] != kSlotStored)
            continue;
        const std::int64_t begin = SlotAddress(entry);
        places.push_back({begin, begin + SlotLength(entry), static_cast<int>(places.size())});
        if (!geometry.HoldsPicture(begin, SlotLength(entry)))
            return Phrase("TABLE_PICTURE_OUTSIDE", "it says that picture {0} lies outside the picture area",
                          places.back().position);
    }
    std::ranges::sort(places, {}, &Place::begin);
    for (std::size_t i = 1; i < places.size(); ++i) {
        if (places[i].begin >= places[i - 1].end)
            continue;
        const auto [first, second] = std::minmax(places[i - 1].position, places[i].position);
        return first == 0
                   ? Phrase("TABLE_PICTURE_INSIDE", "it says that picture {0} lies in the table", second)
                   : Phrase("TABLE_PICTURES_SHARE", "pictures {0} and {1} share bytes", first, second);
    }
    return {};
}

}  // namespace

Result<CheckedTable> CheckTable() {
    const auto& wanted = Store().tableOnFrame;
    const auto isWanted = [&](const TableBlock& block) {
        return std::ranges::equal(ByteSpan(block).first(kTableSize), wanted);
    };
    LUMATO_TRY(const TableBlock first, ReadCheckedBlock());
    LUMATO_TRY(const TableBlock second, ReadCheckedBlock());
    CheckedTable table;
    table.readUneven = first != second;
    table.reason = WhyImpossible(wanted);
    table.known = table.reason.empty();
    // One read that is right is enough: a cable that loses bits is no damage.
    if (table.known && !isWanted(first) && !isWanted(second))
        table.reason = Phrase("READS_OTHERWISE", "it reads otherwise than when the frame was connected");
    table.good = table.reason.empty();
    return table;
}

}  // namespace lumato::store
