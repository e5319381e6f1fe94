#include "store/local_files.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "base/ascii.h"
#include "base/diagnostics.h"
#include "base/printable.h"
#include "base/temporary_name.h"
#include "platform/linux/trash.h"
#include "store/store.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;

Path FolderPath(const char* name) {
    // Joined as text: without a resources folder these are the folders in the root.
    return Store().gmyResousepath.string() + "/" + name;
}

bool IsBitmapName(const std::string& name) {
    constexpr std::string_view kEnding = ".bmp";
    return name.size() >= kEnding.size() &&
           std::ranges::equal(name.substr(name.size() - kEnding.size()), kEnding, {}, LowerAscii);
}

// Bitmaps, and what a program that was killed in the middle of writing one has left. What does not bear a
// name of ours is somebody's, and goes to the trash, or stays where even that cannot be done.
void DeleteBitmaps(const Path& folder) {
    if (!IsRealFolder(folder))
        return;
    std::error_code ignored;
    std::vector<Path> doomed;  // collected first: what an iterator shows while entries go is unspecified
    for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        const fs::file_status status = entry->symlink_status(ignored);
        const std::string name = entry->path().filename().string();
        if ((fs::is_regular_file(status) || fs::is_symlink(status)) &&
            (IsBitmapName(name) || IsOurName(name)))
            doomed.push_back(entry->path());
    }
    for (const Path& file : doomed) {
        if (IsOurName(file.filename().string())) {
            fs::remove(file, ignored);
            continue;
        }
        const Result<Path> moved = platform::MoveToTrash(file);
        Diagnose("none of our pictures, " + (moved ? "moved to " + Printable(moved->string())
                                                   : "left: " + moved.error().message.English()));
    }
}

std::vector<Path> TakeFilesOfList() {
    StoreState& store = Store();
    std::vector<Path> files;
    const PictureList list = std::move(store.gmyPictureData);
    for (const FileData& record : EachOf(list))
        files.push_back(StreamPath(record.fileName));
    store.gmyTotalePictureNum = 0;
    store.status->ShowPictureList(0, 0);
    return files;
}

void RemoveFiles(const std::vector<Path>& files) {
    std::error_code ignored;
    for (const Path& file : files)
        fs::remove(file, ignored);
}

}  // namespace

bool IsOurName(const std::string& name) {
    std::string_view rest = name;
    for (const std::string_view start : {"DPFPicture", "Picture"}) {
        if (rest.starts_with(start)) {
            rest.remove_prefix(start.size());
            const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
            return digits > 0 && rest.substr(digits) == ".bmp";
        }
    }
    return IsTemporaryName(name);
}

Path StreamPath(const std::string& fileName) {
    return FolderPath("Edata").string() + "/" + fileName;
}

Path BitmapPath(const std::string& fileName) {
    return FolderPath("data").string() + "/" + fileName;
}

std::string BitmapName(const std::string& fileName) {
    const std::size_t at = fileName.find("DPFPicture");
    return at == std::string::npos || at == 0 ? fileName : fileName.substr(1);
}

Result<void> PrepareLocalFolders() {
    for (const char* name : {"data", "Edata"}) {
        LUMATO_TRY_VOID(MakePrivateFolder(FolderPath(name)));
    }
    return {};
}

void DelAllPicAtStart() {
    DeleteBitmaps(FolderPath("data"));
    DeleteBitmaps(FolderPath("Edata"));
    DeleteBitmaps(FolderPath("undo"));  // of a program that was killed (edit_history.h)
}

void ReleaseAllFiles() {
    RemoveFiles(TakeFilesOfList());
}

void ReleaseAllFilesBeside() {
    if (std::vector<Path> files = TakeFilesOfList(); !files.empty())
        Store().removal = platform::Task::OrAtOnce([files = std::move(files)] { RemoveFiles(files); });
}

}  // namespace lumato::store
