#include <algorithm>
#include <system_error>
#include <utility>

#include "flash/process_flash.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

bool FrameConnected() {
    return flash::Flash().m_PtrPF != nullptr;
}

void DeleteBitmap(const FileData& record) {
    std::error_code ignored;
    std::filesystem::remove(record.fileRef, ignored);
}

// The position to delete: the selected picture, which is then no longer selected, or the last one.
int TakePosition() {
    StoreState& store = Store();
    const int selected = std::exchange(store.gmyCurrentSelectItem, 0);
    return selected != 0 ? std::min(selected, store.gmyPictureData->count) : store.gmyPictureData->count;
}

void DeleteOne() {
    StoreState& store = Store();
    const int position = TakePosition();
    const int remaining = --store.gmyTotalePictureNum;
    const bool inside = position <= remaining;
    FileDataHead* list = store.gmyPictureData.get();
    const FileData& record = *GetNode(list, position);
    ForgetAdditions(&record, record.next);

    SlotOf(store.G_PictureList, position)[0] = kSlotFree;
    if (inside)
        MovePicAddressInPicList(remaining);
    DeleteBitmap(record);
    DelNode(list, position);
    if (FrameConnected())
        CountFreeSpace();
    if (inside) {
        for (FileData* behind = GetNode(list, position); behind != nullptr; behind = behind->next)
            behind->afterGap = 1;
    }
    store.status->ShowPictureList(remaining, remaining);
    store.status->RedrawPictures();
}

void DeleteAll() {
    StoreState& store = Store();
    ForgetAdditions(store.gmyPictureData->sentinel->next, nullptr);
    for (const FileData* record = store.gmyPictureData->sentinel->next; record != nullptr;
         record = record->next)
        DeleteBitmap(*record);
    store.gmyPictureData.reset(CreateList());
    if (FrameConnected())
        CountFreeSpace();
    store.gmyTotalePictureNum = 0;
    store.gmyTotalePicture = 0;
    store.status->ShowPictureList(0, 0);
    std::fill(store.G_PictureList.begin() + kTableHeaderSize, store.G_PictureList.end(), std::uint8_t{0});
}

}  // namespace

void DeletePictures() {
    StoreState& store = Store();
    if (store.gmyTotalePictureNum == 0 || store.gmyPictureData == nullptr)
        return;
    if (store.gmyDeleteAll)
        DeleteAll();
    else
        DeleteOne();
    ShowNumbers();
    ShowNote(kRemaining, store.gmyTotalePictureNum);
}

}  // namespace lumato::store
