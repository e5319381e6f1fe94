#include "store/local_files.h"
#include "store/store.h"

namespace lumato::store {

Result<int> SavePictures(const Path& folder) {
    StoreState& store = Store();
    if (store.gmyPictureData == nullptr)
        return 0;
    int saved = 0;
    for (const FileData* record = store.gmyPictureData->sentinel->next; record != nullptr;
         record = record->next) {
        LUMATO_TRY(const auto bitmap, ReadPlainFile(BitmapPath(BitmapName(record->fileName))));
        LUMATO_TRY_VOID(WriteFile(folder / (std::to_string(saved + 1) + ".bmp"), bitmap));
        ++saved;
    }
    return saved;
}

}  // namespace lumato::store
