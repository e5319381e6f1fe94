#include "store/replace_list.h"

#include <algorithm>

#include "store/messages.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::store {

void ReplaceList(std::vector<FileData> records) {
    StoreState& store = Store();
    // As deleting all does it, but for the bitmaps, which may be wanted back.
    store.gmyPictureData.reset(CreateList());
    std::fill(store.G_PictureList.begin() + kTableHeaderSize, store.G_PictureList.end(), std::uint8_t{0});
    for (FileData& record : records) {
        record.next = nullptr;
        AddNode(store.gmyPictureData.get(), new FileData(std::move(record)));
    }
    store.gmyTotalePictureNum = store.gmyPictureData->count;
    store.gmyCurrentSelectItem = 0;
    CountFreeSpace();
    store.status->ShowPictureList(store.gmyTotalePictureNum, 0);
    ShowNumbers();
}

}  // namespace lumato::store
