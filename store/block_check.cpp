#include "store/block_check.h"

#include <algorithm>

#include "flash/checked_transfer.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::store {

bool AgreesWithLocalCopies(std::int32_t address, ByteSpan block) {
    StoreState& store = Store();
    const std::int64_t end = address + static_cast<std::int64_t>(block.size());
    int slot = 0;
    for (const FileData& record : EachOf(store.gmyPictureData)) {
        const std::int64_t at = SlotAddress(SlotOf(store.G_PictureList, ++slot));
        const std::int64_t from = std::max<std::int64_t>(at, address);
        const std::int64_t to = std::min(at + record.picSize, end);
        if (record.inFrame != 1 || record.onlyOnFrame || from >= to)
            continue;
        const auto stream =
            ReadPlainFile(StreamPath(record.fileName), static_cast<std::uintmax_t>(record.picSize));
        if (!stream || stream->size() != static_cast<std::size_t>(record.picSize))
            continue;
        const auto part = [](std::int64_t offset) { return static_cast<std::size_t>(offset); };
        if (!std::ranges::equal(ByteSpan(*stream).subspan(part(from - at), part(to - from)),
                                block.subspan(part(from - address), part(to - from))))
            return false;
    }
    return true;
}

Result<std::vector<std::uint8_t>> ReadAgreeing(std::int32_t address, std::int32_t length) {
    std::vector<std::uint8_t> block(static_cast<std::size_t>(length));
    if (!flash::ReadFlashData(block.data(), length, address))
        return Fail(ErrorKind::Refused, kFrameUnreadable);
    if (!AgreesWithLocalCopies(address, block))
        return Fail(ErrorKind::Refused, kOtherBytes);
    return block;
}

}  // namespace lumato::store
