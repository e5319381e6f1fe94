#include "store/undo_deletion.h"

#include <system_error>
#include <utility>

#include "store/local_files.h"
#include "store/messages.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;

Path KeepingFolder() {
    return Store().gmyResousepath / "undo";
}

// Ours alone: the folder goes with its last file.
void EmptyKeepingFolder() {
    std::error_code ignored;
    std::vector<Path> kept;
    if (fs::is_directory(fs::symlink_status(KeepingFolder(), ignored))) {
        for (fs::directory_iterator entry(KeepingFolder(), ignored), end; !ignored && entry != end;
             entry.increment(ignored)) {
            if (!fs::is_directory(entry->symlink_status(ignored)) &&
                IsOurName(entry->path().filename().string()))
                kept.push_back(entry->path());
        }
        for (const Path& file : kept)
            fs::remove(file, ignored);
        fs::remove(KeepingFolder(), ignored);
    }
}

// Another name for the file costs nothing; file systems without second names get a copy.
bool Keep(const Path& file, const Path& as) {
    std::error_code error;
    fs::create_hard_link(file, as, error);
    if (error)
        fs::copy_file(file, as, error);
    return !error;
}

}  // namespace

DeletionUndo::~DeletionUndo() {
    Forget();
}

void DeletionUndo::DeletePictures() {
    Forget();
    if (Store().gmyPictureData == nullptr || Store().gmyTotalePictureNum == 0)
        return;
    Note();
    m_possible = KeepBitmaps();
    store::DeletePictures();
}

void DeletionUndo::Note() {
    const StoreState& store = Store();
    m_records.clear();
    for (const FileData* record = store.gmyPictureData->sentinel->next; record != nullptr;
         record = record->next)
        m_records.push_back(*record);
    m_table = store.G_PictureList;
    m_fileNumber = store.gmyTotalePicture;
    m_selected = store.gmyCurrentSelectItem;
    m_journal = store.journal;
}

// All of them: linking is cheaper than finding out which the deletion takes. A bitmap that is missing already
// cannot get lost.
bool DeletionUndo::KeepBitmaps() const {
    EmptyKeepingFolder();
    if (!MakePrivateFolder(KeepingFolder()))
        return false;
    for (const FileData& record : m_records) {
        std::error_code ignored;
        if (fs::exists(record.fileRef, ignored) &&
            !Keep(record.fileRef, KeepingFolder() / record.fileRef.filename()))
            return false;
    }
    return true;
}

void DeletionUndo::RestoreBitmaps() const {
    for (const FileData& record : m_records) {
        std::error_code ignored;
        const Path kept = KeepingFolder() / record.fileRef.filename();
        if (fs::exists(kept, ignored))
            fs::rename(kept, record.fileRef, ignored);
    }
}

void DeletionUndo::Undo() {
    StoreState& store = Store();
    RestoreBitmaps();
    store.gmyPictureData.reset(CreateList());
    for (const FileData& record : m_records) {
        auto* copy = new FileData(record);
        copy->next = nullptr;
        AddNode(store.gmyPictureData.get(), copy);
    }
    store.gmyTotalePictureNum = store.gmyPictureData->count;
    store.gmyTotalePicture = m_fileNumber;
    store.gmyCurrentSelectItem = m_selected;
    CountFreeSpace();
    store.G_PictureList = m_table;
    // They are in the list all the same; a download makes them safe once more, or says why it cannot.
    const Result<void> kept = KeepAsBefore(m_journal);
    Forget();
    store.status->ShowPictureList(store.gmyTotalePictureNum, store.gmyCurrentSelectItem);
    ShowNumbers();
    ShowNote(kRemaining, store.gmyTotalePictureNum);
    if (!kept)
        store.status->SetNoteDetail(kept.error().message);
}

void DeletionUndo::Forget() {
    m_records.clear();
    m_journal.reset();
    if (!std::exchange(m_possible, false))
        return;
    EmptyKeepingFolder();
}

}  // namespace lumato::store
