#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

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

// Positions from the lowest up, each once. A run of them is taken out of the journal in one step.
void ForgetAdditionsAt(const std::vector<int>& positions) {
    FileDataHead* list = Store().gmyPictureData.get();
    for (std::size_t first = 0; first < positions.size();) {
        std::size_t last = first;
        while (last + 1 < positions.size() && positions[last + 1] == positions[last] + 1)
            ++last;
        ForgetAdditions(GetNode(list, positions[first]), GetNode(list, positions[last])->next);
        first = last + 1;
    }
}

// Likewise.
void Remove(const std::vector<int>& positions) {
    StoreState& store = Store();
    FileDataHead* list = store.gmyPictureData.get();
    const int first = positions.front();
    const int remaining = store.gmyTotalePictureNum -= static_cast<std::int32_t>(positions.size());
    const bool inside = first <= remaining;
    ForgetAdditionsAt(positions);
    for (const int position : positions)
        SlotOf(store.G_PictureList, position)[0] = kSlotFree;
    if (inside)
        MovePicAddressInPicList(remaining);
    for (auto position = positions.rbegin(); position != positions.rend(); ++position) {
        DeleteBitmap(*GetNode(list, *position));
        DelNode(list, *position);
    }
    if (FrameConnected())
        CountFreeSpace();
    if (inside) {
        for (FileData* behind = GetNode(list, first); behind != nullptr; behind = behind->next)
            behind->afterGap = 1;
    }
    const int selected = store.gmyCurrentSelectItem;
    store.status->ShowPictureList(remaining, selected != 0 ? selected : remaining);
    store.status->RedrawPictures();
}

void ShowRemaining() {
    ShowNumbers();
    ShowNote(kRemaining, Store().gmyTotalePictureNum);
}

void DeleteAll() {
    StoreState& store = Store();
    ForgetAdditions(store.gmyPictureData->sentinel->next, nullptr);
    for (const FileData& record : EachOf(store.gmyPictureData))
        DeleteBitmap(record);
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
        Remove({TakePosition()});
    ShowRemaining();
}

void DeletePicturesAt(std::vector<int> positions) {
    StoreState& store = Store();
    std::ranges::sort(positions);
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    if (positions.empty() || store.gmyPictureData == nullptr || positions.front() < 1 ||
        positions.back() > store.gmyTotalePictureNum)
        return;
    const int remaining = store.gmyTotalePictureNum - static_cast<int>(positions.size());
    store.gmyCurrentSelectItem = std::min(positions.front(), remaining);
    Remove(positions);
    ShowRemaining();
}

}  // namespace lumato::store
