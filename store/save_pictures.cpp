#include "store/local_files.h"
#include "store/store.h"

namespace lumato::store {
namespace {

Result<void> Copy(const FileData& record, const Path& target) {
    if (!record.whyNoBitmap.empty())
        return Fail(ErrorKind::TooLarge, record.fileName + ": " + record.whyNoBitmap);
    LUMATO_TRY(const auto bitmap, ReadPlainFile(BitmapPath(BitmapName(record.fileName))));
    // A pipe or device in the file's place is refused, never waited for; a link is replaced, not followed.
    return WriteFile(target, bitmap, Links::Replace);
}

}  // namespace

SaveReport SavePictures(const Path& folder) {
    SaveReport report;
    const FileDataHead* list = Store().gmyPictureData.get();
    int number = 0;
    for (const FileData* record = list != nullptr ? list->sentinel->next : nullptr; record != nullptr;
         record = record->next) {
        Result<void> copied = Copy(*record, folder / (std::to_string(++number) + ".bmp"));
        if (copied)
            ++report.saved;
        else
            report.failed.push_back(std::move(copied).error());
    }
    return report;
}

}  // namespace lumato::store
