#include "app/browser/folder_reader.h"

#include <QCollator>
#include <algorithm>
#include <array>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

#include "app/parts/texts.h"

namespace lumato::app {
namespace {

namespace fs = std::filesystem;

constexpr std::array kHiddenOnFirstVolume = {"tmp", "etc", "var", "Network"};
constexpr std::string_view kBundleEnding = ".app";

bool IsHidden(const std::string& name, bool onFirstVolume) {
    return name.starts_with('.') ||
           (onFirstVolume && std::ranges::find(kHiddenOnFirstVolume, name) != kHiddenOnFirstVolume.end());
}

bool IsBundle(const std::string& name) {
    return name.size() >= kBundleEnding.size() && name.ends_with(kBundleEnding);
}

// Whatever date and size the system has at hand. Folders are not asked: each may be another disk.
void NoteState(FolderEntry& entry) {
    struct statx state {};
    if (::statx(AT_FDCWD, entry.path.c_str(), AT_STATX_DONT_SYNC, STATX_SIZE | STATX_MTIME, &state) != 0)
        return;
    entry.size = static_cast<std::int64_t>(state.stx_size);
    entry.modified = state.stx_mtime.tv_sec;
}

FolderEntry EntryOf(const fs::directory_entry& found) {
    std::error_code ignored;
    FolderEntry entry{.name = ShownName(found.path()), .path = found.path()};
    entry.isFolder = found.is_directory(ignored) && !IsBundle(found.path().filename().string());
    if (!entry.isFolder)
        NoteState(entry);
    return entry;
}

// Folders first, each kind by name as people count, "2" before "10", or the newest file first.
void SortForPeople(std::vector<FolderEntry>& entries, SortOrder order) {
    // The C locale knows no numbers.
    const QLocale locale;
    QCollator collator(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    struct Keyed {
        QCollatorSortKey key;
        std::size_t index;
    };
    std::vector<Keyed> keys;
    keys.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i)
        keys.push_back({collator.sortKey(entries[i].name), i});
    std::ranges::sort(keys, [&entries, order](const Keyed& a, const Keyed& b) {
        const FolderEntry& first = entries[a.index];
        const FolderEntry& second = entries[b.index];
        if (first.isFolder != second.isFolder)
            return first.isFolder;
        if (order == SortOrder::NewestFirst && first.modified != second.modified)
            return first.modified > second.modified;
        return a.key.compare(b.key) < 0;
    });
    std::vector<FolderEntry> sorted;
    sorted.reserve(entries.size());
    for (const Keyed& keyed : keys)
        sorted.push_back(std::move(entries[keyed.index]));
    entries = std::move(sorted);
}

}  // namespace

FolderReading ReadFolder(const FolderRequest& request) {
    FolderReading reading;
    std::error_code error;
    for (fs::directory_iterator entry(request.folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (!IsHidden(entry->path().filename().string(), request.onFirstVolume))
            reading.entries.push_back(EntryOf(*entry));
    }
    reading.isReadable = !error;
    SortForPeople(reading.entries, request.order);
    const bool isListed =
        std::ranges::find(reading.entries, request.wanted, &FolderEntry::path) != reading.entries.end();
    if (!request.wanted.empty() && !isListed && fs::is_directory(request.wanted, error))
        reading.entries.push_back(
            {.name = ShownName(request.wanted), .path = request.wanted, .isFolder = true});
    return reading;
}

std::vector<FolderEntry> FSGetDirectoryItems(const Path& folder, bool onFirstVolume) {
    return ReadFolder({.folder = folder, .onFirstVolume = onFirstVolume}).entries;
}

}  // namespace lumato::app
