#include "store/replace_picture.h"

#include <system_error>
#include <utility>

#include "store/list_order.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/recovery.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

// Links the new one in the old one's place, and gives the old one back.
std::unique_ptr<FileData> Exchange(int position, std::unique_ptr<FileData> picture) {
    FileData* before = GetNode(Store().gmyPictureData.get(), position - 1);
    std::unique_ptr<FileData> old(before->next);
    picture->next = std::exchange(old->next, nullptr);
    before->next = picture.release();
    return old;
}

void MarkGap(const FileData& old, FileData* behind) {
    for (; old.inFrame == 1 && behind != nullptr; behind = behind->next)
        behind->afterGap = 1;
}

}  // namespace

std::int32_t FreeWithout(int position) {
    const StoreState& store = Store();
    std::int64_t listed = 0;
    int at = 0;
    for (const FileData& record : EachOf(store.gmyPictureData))
        listed += ++at == position ? 0 : record.picSize;
    return store.geometry.FreeBeside(listed);
}

Result<void> ReplacePicture(int position, std::unique_ptr<FileData> picture) {
    StoreState& store = Store();
    if (store.gmyPictureData == nullptr || position < 1 || position > store.gmyPictureData->count)
        return Fail(ErrorKind::NotFound, Phrase("NO_SUCH_PICTURE", "there is no picture {0}", position));
    if (picture->picSize > FreeWithout(position))
        return Fail(ErrorKind::Refused,
                    Phrase("NO_ROOM_IN_PLACE", "no room: it takes {0} bytes, and {1} are free in its place",
                           picture->picSize, FreeWithout(position)));
    // The place is that of the picture which people saw there.
    const FileData* replaced = GetNode(store.gmyPictureData.get(), position);
    ResumeDownload();
    const int place = PositionOf(store.gmyPictureData.get(), replaced->fileName);
    LUMATO_TRY_VOID(KeepAddition(*picture));
    ForgetAdditions(replaced, replaced->next);
    picture->seqIndex = place + kAddedSequenceBase;
    picture->journalPosition = replaced->journalPosition;
    const std::unique_ptr<FileData> old = Exchange(place, std::move(picture));
    SlotOf(store.G_PictureList, place)[0] = kSlotFree;
    ReserveSlots();
    MarkGap(*old, GetNode(store.gmyPictureData.get(), place)->next);
    std::error_code ignored;
    std::filesystem::remove(old->fileRef, ignored);
    CountFreeSpace();
    if (store.gmyCurrentSelectItem == position)
        store.gmyCurrentSelectItem = place;
    store.status->ShowPictureList(store.gmyPictureData->count, store.gmyCurrentSelectItem);
    ShowNumbers();
    return {};
}

}  // namespace lumato::store
