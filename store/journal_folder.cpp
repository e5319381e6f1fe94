#include "store/journal_folder.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "base/printable.h"
#include "base/temporary_name.h"
#include "store/messages.h"

namespace lumato::store {
namespace {

constexpr Words kWasDamaged{"FILE_WAS_DAMAGED", "{0} was damaged"};

namespace fs = std::filesystem;

constexpr std::uintmax_t kMostJournalBytes = 1 << 24;
constexpr std::size_t kNameBytes = 8;
constexpr int kMostNumber = 1'000'000;
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

// A folder whose name is not on the disk is gone after a power failure, with all that was synced in it. Who
// made the folders above, and when, is not known here.
void SyncFoldersAbove(const Path& folder) {
    for (Path above = folder; above.has_relative_path();) {
        above = above.parent_path();
        static_cast<void>(SyncFolder(above));  // one that may not be opened has been there for long
    }
}

bool IsRealJournalFolder(const Path& folder) {
    return IsRealFolder(folder.parent_path()) && IsRealFolder(folder);
}

Result<void> PrepareJournalFolder(const Path& folder) {
    std::error_code error;
    const Path all = folder.parent_path();
    if (IsRealJournalFolder(folder))
        return {};  // closed when the frame was connected, or made since
    const bool first = !fs::exists(all, error);
    if (!fs::is_directory(all.parent_path(), error))  // the state folder may be a link
        LUMATO_TRY_VOID(MakePrivateFolder(all.parent_path()));
    ClosePath(all.parent_path());
    LUMATO_TRY_VOID(MakePrivateFolder(all));
    if (first)
        SyncFoldersAbove(fs::absolute(all, error));
    LUMATO_TRY_VOID(MakePrivateFolder(folder));
    return SyncFolder(all);
}

bool IsStreamOf(const JournalPicture& picture, ByteSpan bytes) {
    return bytes.size() == static_cast<std::size_t>(picture.length) && Sha256(bytes) == picture.hash;
}

std::string ModelOf(const Digest& identity) {
    return HexText(ByteSpan(identity).first(kNameBytes));
}

// The number that the name begins with; 0 for none.
int NumberIn(const std::string& name) {
    int number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool whole = error == std::errc() && end != name.data() + name.size() && *end == '-';
    return whole && number > 0 && number < kMostNumber ? number : 0;
}

// For those who come after a connection that could read them all.
std::vector<JournalPlace> PlacesOfHome() {
    return JournalPlaces(Store().statePath).value_or(std::vector<JournalPlace>());
}

}  // namespace

Result<std::vector<JournalPlace>> JournalPlaces(const Path& statePath) {
    std::vector<JournalPlace> places;
    std::error_code error;
    const Path all = statePath / "recovery";
    const fs::file_status status = fs::symlink_status(all, error);
    if (status.type() != fs::file_type::none && !fs::is_directory(status))
        return places;
    for (fs::directory_iterator entry(all, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code vanished;
        if (fs::is_directory(entry->symlink_status(vanished)))
            places.push_back({NumberIn(entry->path().filename().string()), entry->path()});
    }
    if (error)
        return Fail(ErrorKind::Unreadable, About(Printable(all.string()), error.message()));
    // Two with one number can only be of a journal that was put aside: the later one gets another.
    std::ranges::sort(places, [](const JournalPlace& a, const JournalPlace& b) {
        return a.number != b.number ? (b.number == 0 || (a.number != 0 && a.number < b.number))
                                    : a.folder < b.folder;
    });
    int highest = 0;
    for (const JournalPlace& place : places)
        highest = std::max(highest, place.number);
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (places[i].number == 0 || (i > 0 && places[i].number == places[i - 1].number))
            places[i].number = ++highest;
    }
    return places;
}

Result<std::vector<Path>> JournalFoldersOfFrame() {
    const std::string ending = "-" + ModelOf(Store().frameIdentity);
    std::vector<Path> folders;
    LUMATO_TRY(const auto places, JournalPlaces(Store().statePath));
    for (const JournalPlace& place : places) {
        if (place.folder.filename().string().ends_with(ending))
            folders.push_back(place.folder);
    }
    return folders;
}

Path FreshJournalFolder() {
    int highest = 0;
    for (const JournalPlace& place : PlacesOfHome())
        highest = std::max(highest, place.number);
    return Store().statePath / "recovery" /
           (std::to_string(highest + 1) + "-" + ModelOf(Store().frameIdentity));
}

Result<Journal> ReadJournal(const Path& folder) {
    if (!IsRealJournalFolder(folder))
        return Fail(ErrorKind::NotFound, About(Printable(folder.string()), Phrase("NO_FOLDER", "no folder")));
    const auto bytes = ReadPlainFile(JournalPath(folder), kMostJournalBytes);
    if (!bytes && bytes.error().kind != ErrorKind::TooLarge)
        return tl::unexpected(bytes.error());
    return bytes ? DecodeJournal(*bytes) : Fail(ErrorKind::Damaged, kJournalIsDamaged);
}

Result<Journal> LoadJournal(const Path& folder) {
    ClosePath(Store().statePath);
    ClosePath(folder.parent_path());
    ClosePath(folder);
    Result<Journal> journal = ReadJournal(folder);
    if (journal ? journal->frame == Store().frameIdentity : journal.error().kind != ErrorKind::Damaged)
        return journal;
    PutAside(folder);  // with the streams, which a new journal would delete one day
    return Fail(ErrorKind::Damaged, Phrase(kWasDamaged, Printable(JournalPath(folder).string())));
}

Result<void> SaveJournal(const Path& folder, const Journal& journal) {
    LUMATO_TRY_VOID(PrepareJournalFolder(folder));
    LUMATO_TRY_VOID(SyncFolder(folder));  // no journal comes before the streams that it speaks of
    LUMATO_TRY_VOID(WriteSyncedFile(JournalPath(folder), EncodeJournal(journal)));
    return SyncFolder(folder);
}

std::uint32_t HighestCounter(const Path& except) {
    std::uint32_t highest = 0;
    for (const JournalPlace& place : PlacesOfHome()) {
        if (place.folder == except)
            continue;
        if (const Result<Journal> journal = ReadJournal(place.folder))
            highest = std::max(highest, journal->counter);
    }
    return highest;
}

Result<std::vector<std::uint8_t>> ReadStream(const Path& folder, const JournalPicture& picture) {
    const Path path = StreamObject(folder, picture.hash);
    LUMATO_TRY(std::vector<std::uint8_t> bytes, ReadPlainFile(path));
    if (IsStreamOf(picture, bytes))
        return bytes;
    return Fail(ErrorKind::Damaged, Phrase(kWasDamaged, Printable(path.string())));
}

Result<std::vector<std::uint8_t>> LoadStream(const Path& folder, const JournalPicture& picture) {
    auto stream = ReadStream(folder, picture);
    if (!stream && stream.error().kind == ErrorKind::Damaged)
        PutAside(StreamObject(folder, picture.hash));
    return stream;
}

Result<void> KeepStream(const Path& folder, const JournalPicture& picture, ByteSpan stream) {
    LUMATO_TRY_VOID(PrepareJournalFolder(folder));
    const Path path = StreamObject(folder, picture.hash);
    if (const auto there = ReadPlainFile(path); there && IsStreamOf(picture, *there)) {
        ClosePath(path);
        return {};
    }
    return WriteSyncedFile(path, stream);
}

bool HasStream(const Path& folder, const JournalPicture& picture) {
    std::error_code ignored;
    return fs::is_regular_file(fs::symlink_status(StreamObject(folder, picture.hash), ignored));
}

void DropJournal(const Path& folder) {
    if (!IsRealJournalFolder(folder))
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
