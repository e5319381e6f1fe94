#include "store/edit_history.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include "base/printable.h"
#include "base/temporary_name.h"
#include "store/local_files.h"
#include "store/messages.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;

// A list of 509 pictures is half a megabyte here.
constexpr std::size_t kMostStandings = 51;

// Names that are ours to remove, two for each picture.
Path KeptStream(const Path& folder, int number) {
    return folder / ("Picture" + std::to_string(2 * number) + ".bmp");
}

Path KeptBitmap(const Path& folder, int number) {
    return folder / ("Picture" + std::to_string(2 * number + 1) + ".bmp");
}

// Ours alone: the folder goes with its last file.
void EmptyFolder(const Path& folder) {
    if (!IsRealFolder(folder))
        return;
    std::error_code ignored;
    std::vector<Path> kept;
    for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        if (!fs::is_directory(entry->symlink_status(ignored)) && IsOurName(entry->path().filename().string()))
            kept.push_back(entry->path());
    }
    for (const Path& file : kept)
        fs::remove(file, ignored);
    fs::remove(folder, ignored);
}

// Another name for the file costs nothing; file systems without second names get a copy. What is missing
// already cannot get lost.
Result<void> Link(const Path& file, const Path& as) {
    std::error_code error;
    if (!fs::exists(file, error))
        return {};
    fs::create_hard_link(file, as, error);
    if (error)
        fs::copy_file(file, as, error);
    if (error)
        return Fail(ErrorKind::Unwritable, About(Printable(as.native()), error.message()));
    return {};
}

// Files that wait under temporary names until all of them are there.
class StagedFiles {
  public:
    ~StagedFiles() {
        std::error_code ignored;
        for (const auto& [staged, name] : m_files)
            fs::remove(staged, ignored);  // whatever was not renamed
    }
    StagedFiles() = default;
    StagedFiles(const StagedFiles&) = delete;
    StagedFiles& operator=(const StagedFiles&) = delete;

    Result<void> Add(const Path& kept, const Path& name) {
        std::error_code ignored;
        if (!fs::exists(kept, ignored) || fs::equivalent(kept, name, ignored))
            return {};
        const std::string staged = TemporaryName("undo" + std::to_string(m_files.size()));
        m_files.emplace_back(name.parent_path() / staged, name);
        fs::remove(m_files.back().first, ignored);
        return Link(kept, m_files.back().first);
    }

    Result<void> GiveNames() {
        for (const auto& [staged, name] : m_files) {
            std::error_code error;
            fs::rename(staged, name, error);
            if (error)
                return Fail(ErrorKind::Unwritable, About(Printable(name.native()), error.message()));
        }
        return {};
    }

  private:
    std::vector<std::pair<Path, Path>> m_files;
};

bool SamePicture(const FileData& a, const FileData& b) {
    return a.fileName == b.fileName && a.streamHash == b.streamHash && a.picSize == b.picSize &&
           a.inFrame == b.inFrame && a.afterGap == b.afterGap;
}

int ChangedBy(std::size_t before, std::size_t after) {
    return std::max(1, std::abs(static_cast<int>(after) - static_cast<int>(before)));
}

}  // namespace

EditHistory::~EditHistory() {
    Forget();
}

EditHistory::Standing EditHistory::Present() {
    const StoreState& store = Store();
    Standing standing;
    standing.table = store.G_PictureList;
    standing.tableOnFrame = store.tableOnFrame;
    standing.fileNumber = store.gmyTotalePicture;
    standing.selected = store.gmyCurrentSelectItem;
    standing.orderResumed = store.orderResumed;
    standing.journal = store.journal;
    for (const FileData& record : EachOf(store.gmyPictureData))
        standing.records.push_back(record);
    return standing;
}

// Nobody has changed the list, the table or the journal but through these edits.
bool EditHistory::IsPresent() const {
    const StoreState& store = Store();
    if (m_standings.empty() || m_journal != store.journal)
        return false;
    const Standing& standing = m_standings[m_present];
    return std::ranges::equal(EachOf(store.gmyPictureData), standing.records, SamePicture) &&
           store.G_PictureList == standing.table && store.tableOnFrame == standing.tableOnFrame;
}

Result<void> EditHistory::KeepFiles(FileData& record) {
    if (record.onlyOnFrame)
        return {};
    if (!record.streamHash) {
        LUMATO_TRY(const auto stream, ReadPlainFile(StreamPath(record.fileName)));
        record.streamHash = Sha256(stream);
    }
    if (!m_kept.try_emplace(*record.streamHash, m_lastKept + 1).second)
        return {};
    ++m_lastKept;
    LUMATO_TRY_VOID(Link(StreamPath(record.fileName), KeptStream(m_folder, m_lastKept)));
    return Link(record.fileRef, KeptBitmap(m_folder, m_lastKept));
}

// Of the list as it is.
Result<void> EditHistory::KeepFiles() {
    if (m_kept.empty()) {
        WaitForRemoval();
        m_folder = Store().gmyResousepath / "undo";
        EmptyFolder(m_folder);
    }
    LUMATO_TRY_VOID(MakePrivateFolder(m_folder));
    for (FileData& record : EachOf(Store().gmyPictureData))
        LUMATO_TRY_VOID(KeepFiles(record));
    return {};
}

void EditHistory::Do(Edit::Kind kind, const std::function<void()>& edit) {
    if (!IsPresent())
        Forget();
    // Whatever the edit removes is kept before it does.
    bool kept = KeepFiles().has_value();
    if (m_standings.empty())
        m_standings.push_back(Present());
    m_standings[m_present].selected = Store().gmyCurrentSelectItem;
    edit();
    kept = kept && KeepFiles().has_value();
    m_journal = Store().journal;
    if (!kept)
        return Forget();
    if (IsPresent())
        return;  // it was refused
    Standing after = Present();
    const std::size_t before = kind == Edit::Kind::Restore ? 0 : m_standings[m_present].records.size();
    after.edit = {kind, ChangedBy(before, after.records.size())};
    Push(std::move(after));
}

void EditHistory::Push(Standing after) {
    m_standings.resize(m_present + 1);
    m_standings.push_back(std::move(after));
    if (m_standings.size() > kMostStandings)
        m_standings.erase(m_standings.begin());
    m_present = m_standings.size() - 1;
    ForgetUnused();
}

std::optional<Edit> EditHistory::Undoable() const {
    return m_present > 0 && IsPresent() ? std::optional(m_standings[m_present].edit) : std::nullopt;
}

std::optional<Edit> EditHistory::Redoable() const {
    return m_present + 1 < m_standings.size() && IsPresent() ? std::optional(m_standings[m_present + 1].edit)
                                                             : std::nullopt;
}

Result<void> EditHistory::Undo() {
    return Undoable() ? GoTo(m_present - 1) : Result<void>();
}

Result<void> EditHistory::Redo() {
    return Redoable() ? GoTo(m_present + 1) : Result<void>();
}

Result<void> EditHistory::BringFilesBack(const std::vector<FileData>& records) const {
    LUMATO_TRY_VOID(PrepareLocalFolders());
    StagedFiles files;
    for (const FileData& record : records) {
        if (record.onlyOnFrame)
            continue;
        const int number = m_kept.at(*record.streamHash);
        LUMATO_TRY_VOID(files.Add(KeptStream(m_folder, number), StreamPath(record.fileName)));
        LUMATO_TRY_VOID(files.Add(KeptBitmap(m_folder, number), record.fileRef));
    }
    return files.GiveNames();
}

Result<void> EditHistory::GoTo(std::size_t index) {
    const Standing& standing = m_standings[index];
    LUMATO_TRY_VOID(BringFilesBack(standing.records));
    m_present = index;
    StoreState& store = Store();
    store.gmyPictureData.reset(CreateList());
    for (const FileData& record : standing.records) {
        auto* copy = new FileData(record);
        copy->next = nullptr;
        AddNode(store.gmyPictureData.get(), copy);
    }
    store.gmyTotalePictureNum = store.gmyPictureData->count;
    store.gmyTotalePicture = standing.fileNumber;
    store.gmyCurrentSelectItem = standing.selected;
    store.orderResumed = standing.orderResumed;
    store.G_PictureList = standing.table;
    CountFreeSpace();
    // They are in the list all the same; a download makes them safe once more, or says why it cannot.
    const Result<void> kept = KeepAsBefore(standing.journal);
    m_journal = store.journal;
    store.status->ShowPictureList(store.gmyTotalePictureNum, store.gmyCurrentSelectItem);
    ShowNumbers();
    ShowNote(kRemaining, store.gmyTotalePictureNum);
    if (!kept)
        store.status->SetNoteDetail(kept.error().message);
    return {};
}

// What no step back or forth needs any more.
void EditHistory::ForgetUnused() {
    std::set<Digest> used;
    for (const Standing& standing : m_standings) {
        for (const FileData& record : standing.records)
            used.insert(record.streamHash.value_or(Digest{}));
    }
    std::erase_if(m_kept, [&](const auto& kept) {
        if (used.contains(kept.first))
            return false;
        std::error_code ignored;
        fs::remove(KeptStream(m_folder, kept.second), ignored);
        fs::remove(KeptBitmap(m_folder, kept.second), ignored);
        return true;
    });
}

void EditHistory::Forget() {
    m_standings.clear();
    m_present = 0;
    m_journal.reset();
    m_lastKept = 0;
    if (!std::exchange(m_kept, {}).empty())
        m_emptying = platform::Task::OrAtOnce([folder = m_folder] { EmptyFolder(folder); });
}

}  // namespace lumato::store
