#include "backup/back_up_frame.h"

#include <map>

#include "base/printable.h"
#include "picture/picture_state.h"
#include "store/list_order.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/read_back.h"
#include "store/store.h"

namespace lumato::backup {
namespace {

// Pictures that are the same, or lie in the same place, are held once.
class Collector {
  public:
    Result<void> Take(const store::FileData& record, std::int32_t address);
    Backup m_backup;

  private:
    Result<ByteSpan> Hold(Stream stream, const Digest& hash);

    std::map<Digest, ByteSpan> m_held;
    std::uintmax_t m_bytes = 0;
};

Result<ByteSpan> Collector::Hold(Stream stream, const Digest& hash) {
    const auto [place, isNew] = m_held.try_emplace(hash);
    if (isNew) {
        m_bytes += stream.size();
        if (m_bytes > kLargestBackup)
            return Fail(ErrorKind::TooLarge, kBeyondBackup);
        m_backup.held.push_back(std::move(stream));
        place->second = m_backup.held.back();
    }
    return place->second;
}

Result<void> Collector::Take(const store::FileData& record, std::int32_t address) {
    LUMATO_TRY(Stream stream, store::StreamOf(record, address));
    const Digest hash = Sha256(stream);
    if (record.streamHash.value_or(hash) != hash)
        return Fail(ErrorKind::Damaged, About(Printable(record.fileName), store::kLocalFileChanged));
    BackedUpPicture picture{.name = record.fileName, .hash = hash, .address = address};
    if (const picture::AlbumEntry* origin = picture::Pictures().album.Find(hash))
        picture.origin = *origin;
    LUMATO_TRY(picture.stream, Hold(std::move(stream), hash));
    m_backup.pictures.push_back(std::move(picture));
    return {};
}

}  // namespace

BackedUpFrame PresentFrame() {
    const store::StoreState& store = store::Store();
    return {.name = store.frameName,
            .lcdWidth = store.geometry.lcdWidth,
            .lcdHeight = store.geometry.lcdHeight,
            .sampling = store.G_YValue,
            .tableAddress = store.geometry.tableAddress,
            .flashSize = store.geometry.flashSize};
}

Result<FrameBackup> BackUpFrame() {
    store::StoreState& store = store::Store();
    if (store.gmyPictureData == nullptr)
        return Fail(ErrorKind::Refused, store::kNoFrame);
    Collector collector;
    collector.m_backup.frame = PresentFrame();
    int position = 0, stored = 0;
    for (const store::FileData& record : store::EachOf(store.gmyPictureData)) {
        if (store::StopRequested())
            return Fail(ErrorKind::Refused, Phrase("STOPPED_NO_BACKUP", "stopped; no backup was written"));
        ++position;
        const bool inFrame = record.inFrame == 1;
        stored += inFrame ? 1 : 0;
        LUMATO_TRY_VOID(collector.Take(
            record, inFrame ? store::SlotAddress(store::SlotOf(store.G_PictureList, position)) : 0));
        store.status->SetDownLoadPrcess(100 * position / store.gmyPictureData->count);
    }
    FrameBackup result{.backup = std::move(collector.m_backup)};
    if (store::IsTable(store.tableOnFrame) && !store.resuming && !store::ListDiffers())
        result.unreadable = std::max(0, store::CountStored(store.tableOnFrame) - stored);
    return result;
}

}  // namespace lumato::backup
