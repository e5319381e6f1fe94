#include "store/journal_folder.h"

#include <system_error>

#include "base/printable.h"
#include "base/temporary_name.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kMostJournalBytes = 1 << 24;
constexpr std::size_t kNameBytes = 8;
constexpr std::string_view kStreamEnding = ".stream";

Path JournalPath(const Path& folder) {
    return folder / "journal";
}

Path StreamObject(const Path& folder, const Digest& hash) {
    return folder / (HexText(hash) + std::string(kStreamEnding));
}

// Under a name that nothing has yet, so that no earlier one is lost.
void PutAside(const Path& file) {
    std::error_code error;
    Path aside = file.string() + ".damaged";
    for (int n = 2; fs::symlink_status(aside, error).type() != fs::file_type::not_found && n < 1000; ++n)
        aside = file.string() + "." + std::to_string(n) + ".damaged";
    fs::rename(file, aside, error);
}

// Makes the folder where it is missing, and its name safe.
Result<void> PrepareFolder(const Path& folder) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(folder, error);
    if (fs::is_directory(status))
        return {};
    if (status.type() != fs::file_type::not_found)
        return Fail(ErrorKind::Unwritable, Printable(folder.string()) +
                                               ": a folder belongs here, and something "
                                               "else stands in its place");
    fs::create_directory(folder, error);
    if (error)
        return Fail(ErrorKind::Unwritable, Printable(folder.string()) + ": " + error.message());
    return SyncFolder(folder.parent_path());
}

// A folder whose name is not on the disk is gone after a power failure, with all that was synced in it. Who
// made the folders above, and when, is not known here.
void SyncFoldersAbove(const Path& folder) {
    for (Path above = folder; above.has_relative_path();) {
        above = above.parent_path();
        static_cast<void>(SyncFolder(above));  // one that may not be opened has been there for long
    }
}

Result<void> PrepareJournalFolder(const Path& folder) {
    std::error_code error;
    const Path& state = Store().statePath;
    fs::create_directories(state, error);
    if (error)
        return Fail(ErrorKind::Unwritable, Printable(state.string()) + ": " + error.message());
    const Path all = folder.parent_path();
    if (!fs::exists(all, error))
        SyncFoldersAbove(fs::absolute(all, error));
    LUMATO_TRY_VOID(PrepareFolder(all));
    return PrepareFolder(folder);
}

bool IsRealFolder(const Path& folder) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(folder.parent_path(), ignored)) &&
           fs::is_directory(fs::symlink_status(folder, ignored));
}

bool IsStreamOf(const JournalPicture& picture, ByteSpan bytes) {
    return bytes.size() == static_cast<std::size_t>(picture.length) && Sha256(bytes) == picture.hash;
}

}  // namespace

Path JournalFolder(int number) {
    const StoreState& store = Store();
    std::string name = HexText(ByteSpan(store.frameIdentity).first(kNameBytes));
    if (number > 1)
        name += "-" + std::to_string(number);
    return store.statePath / "recovery" / name;
}

Result<std::optional<Journal>> LoadJournal(const Path& folder) {
    if (!IsRealFolder(folder))
        return std::nullopt;
    const auto bytes = ReadPlainFile(JournalPath(folder), kMostJournalBytes);
    if (!bytes && bytes.error().kind == ErrorKind::NotFound)
        return std::nullopt;
    if (!bytes && bytes.error().kind != ErrorKind::TooLarge)
        return tl::unexpected(bytes.error());
    Result<Journal> journal =
        bytes ? DecodeJournal(*bytes) : Fail(ErrorKind::Damaged, "the recovery journal is damaged");
    if (journal && journal->frame == Store().frameIdentity)
        return std::move(*journal);
    PutAside(folder);  // with the streams, which a new journal would delete one day
    return Fail(ErrorKind::Damaged, Printable(JournalPath(folder).string()) + " was damaged");
}

Result<void> SaveJournal(const Path& folder, const Journal& journal) {
    LUMATO_TRY_VOID(PrepareJournalFolder(folder));
    LUMATO_TRY_VOID(SyncFolder(folder));  // no journal comes before the streams that it speaks of
    LUMATO_TRY_VOID(WriteSyncedFile(JournalPath(folder), EncodeJournal(journal)));
    return SyncFolder(folder);
}

Result<std::vector<std::uint8_t>> LoadStream(const Path& folder, const JournalPicture& picture) {
    const Path path = StreamObject(folder, picture.hash);
    LUMATO_TRY(std::vector<std::uint8_t> bytes, ReadPlainFile(path));
    if (IsStreamOf(picture, bytes))
        return bytes;
    PutAside(path);
    return Fail(ErrorKind::Damaged, Printable(path.string()) + " was damaged");
}

Result<void> KeepStream(const Path& folder, const JournalPicture& picture, ByteSpan stream) {
    LUMATO_TRY_VOID(PrepareJournalFolder(folder));
    const Path path = StreamObject(folder, picture.hash);
    if (const auto there = ReadPlainFile(path); there && IsStreamOf(picture, *there))
        return {};
    return WriteSyncedFile(path, stream);
}

void DropJournal(const Path& folder) {
    if (!IsRealFolder(folder))
        return;
    std::error_code ignored;
    fs::remove(JournalPath(folder), ignored);
    // A journal must not stay, or come back after a power failure, without its streams.
    if (ignored || !SyncFolder(folder))
        return;
    std::vector<Path> doomed;
    for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        // A program that was killed while it wrote has left a temporary file.
        if (entry->path().extension() == kStreamEnding || IsTemporaryName(entry->path().filename().string()))
            doomed.push_back(entry->path());
    }
    for (const Path& file : doomed)
        fs::remove(file, ignored);
    fs::remove(folder, ignored);  // fails, as it should, while something was put aside
}

}  // namespace lumato::store
