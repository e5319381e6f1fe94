#include "store/local_files.h"

#include <system_error>

#include "base/printable.h"
#include "base/temporary_name.h"
#include "store/store.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;

Path FolderPath(const char* name) {
    // Joined as text: without a resources folder these are the folders in the root.
    return Store().gmyResousepath.string() + "/" + name;
}

bool IsRealFolder(const Path& folder) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(folder, ignored));
}

bool IsBitmapName(const std::string& name) {
    constexpr std::string_view kEnding = ".bmp";
    if (name.size() < kEnding.size())
        return false;
    const std::size_t from = name.size() - kEnding.size();
    for (std::size_t i = 0; i < kEnding.size(); ++i) {
        const char c = name[from + i];
        if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != kEnding[i])
            return false;
    }
    return true;
}

bool IsOurs(const std::string& name) {
    return IsBitmapName(name) || IsTemporaryName(name);
}

// Bitmaps, and what a program that was killed in the middle of writing one has left.
void DeleteBitmaps(const Path& folder) {
    if (!IsRealFolder(folder))
        return;
    std::error_code ignored;
    std::vector<Path> doomed;  // collected first: what an iterator shows while entries go is unspecified
    for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        const fs::file_status status = entry->symlink_status(ignored);
        if ((fs::is_regular_file(status) || fs::is_symlink(status)) &&
            IsOurs(entry->path().filename().string()))
            doomed.push_back(entry->path());
    }
    for (const Path& file : doomed)
        fs::remove(file, ignored);
}

}  // namespace

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
        const Path folder = FolderPath(name);
        std::error_code error;
        const fs::file_status status = fs::symlink_status(folder, error);
        if (fs::is_directory(status))
            continue;
        if (status.type() != fs::file_type::not_found)
            return Fail(ErrorKind::Unwritable,
                        Printable(folder.native()) +
                            ": a folder belongs here, and something else stands in its place");
        fs::create_directories(folder, error);
        if (error)
            return Fail(ErrorKind::Unwritable, Printable(folder.native()) + ": " + error.message());
    }
    return {};
}

void DelAllPicAtStart() {
    DeleteBitmaps(FolderPath("data"));
    DeleteBitmaps(FolderPath("Edata"));
}

void ReleaseAllFiles() {
    StoreState& store = Store();
    if (store.gmyPictureData != nullptr) {
        for (const FileData* record = store.gmyPictureData->sentinel->next; record != nullptr;
             record = record->next) {
            std::error_code ignored;
            fs::remove(StreamPath(record->fileName), ignored);
        }
    }
    store.gmyPictureData.reset();
    store.gmyTotalePictureNum = 0;
    store.status->ShowPictureList(0, 0);
}

}  // namespace lumato::store
