#include <filesystem>
#include <system_error>

#include "base/printable.h"
#include "store/local_files.h"
#include "store/progress_meter.h"
#include "store/saved_copies.h"
#include "store/store.h"

namespace lumato::store {
namespace {

Result<std::vector<std::uint8_t>> BitmapOf(const FileData& record) {
    if (!record.whyNoBitmap.empty())
        return Fail(ErrorKind::TooLarge, About(record.fileName, record.whyNoBitmap));
    return ReadPlainFile(BitmapPath(BitmapName(record.fileName)));
}

// A bitmap that is missing leaves an empty file, so that the numbers stay the pictures' own; but nothing is
// no newer copy of what is there.
Result<void> Copy(const FileData& record, const Path& target, SavedCopies& copies) {
    const auto bitmap = BitmapOf(record);
    std::error_code error;
    if (bitmap)
        return copies.Put(target, *bitmap);
    if (std::filesystem::symlink_status(target, error).type() == std::filesystem::file_type::not_found)
        LUMATO_TRY_VOID(copies.Put(target, {}));
    return tl::unexpected(bitmap.error());
}

}  // namespace

std::optional<std::string> NumberedName(int position, const FileData&) {
    return std::to_string(position) + ".bmp";
}

Phrase ReplacedText(const SaveReport& report) {
    const std::size_t count = report.replaced.size();
    if (count == 0)
        return {};
    const std::string folder = Printable(report.replaced.front().parent_path().string());
    return count == 1
               ? Phrase("REPLACED_ONE", "1 file that was in the way is now in {0}", folder)
               : Phrase("REPLACED_MANY", "{1} files that were in the way are now in {0}", folder, count);
}

SaveReport SavePictures(const Path& folder, const SaveName& nameOf) {
    SaveReport report;
    SavedCopies copies;
    const FileDataHead* list = Store().gmyPictureData.get();
    int number = 0;
    ProgressMeter meter(Phase::Saving, list != nullptr ? list->count : 0, 0);
    for (const FileData& record : EachOf(list)) {
        report.stopped = StopRequested();
        if (report.stopped)
            break;
        meter.Reach(++number, 0);
        const std::optional<std::string> name = nameOf(number, record);
        if (!name)
            continue;
        Result<void> copied = Copy(record, folder / *name, copies);
        if (copied)
            ++report.saved;
        else
            report.failed.push_back(std::move(copied).error());
    }
    report.replaced = copies.Replaced();
    return report;
}

}  // namespace lumato::store
