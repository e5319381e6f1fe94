#include "app/browser/file_items.h"

#include <QCollator>
#include <QDir>
#include <algorithm>
#include <array>
#include <fstream>
#include <system_error>

#include "app/parts/app_state.h"
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

bool IsFrameVolume(const Path& root) {
    return std::ifstream(root / "LanguageUnicode.ini").is_open();
}

// Folders first, each kind by name as people count: "2" before "10".
void SortForPeople(std::vector<FolderEntry>& entries) {
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
    std::ranges::sort(keys, [&entries](const Keyed& a, const Keyed& b) {
        if (entries[a.index].isFolder != entries[b.index].isFolder)
            return entries[a.index].isFolder;
        return a.key.compare(b.key) < 0;
    });
    std::vector<FolderEntry> sorted;
    sorted.reserve(entries.size());
    for (const Keyed& keyed : keys)
        sorted.push_back(std::move(entries[keyed.index]));
    entries = std::move(sorted);
}

}  // namespace

tagFILEITEM& FileItems::Append(tagFILEITEM item) {
    item.itemID = m_items.empty() ? kFirstItem : m_items.rbegin()->first + 1;
    const ItemID id = item.itemID;
    return m_items.emplace_hint(m_items.end(), id, std::move(item))->second;
}

tagFILEITEM* FileItems::Find(ItemID id) {
    const auto found = m_items.find(id);
    return found == m_items.end() ? nullptr : &found->second;
}

std::vector<FolderEntry> FSGetDirectoryItems(const Path& folder, bool onFirstVolume) {
    std::vector<FolderEntry> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (IsHidden(name, onFirstVolume))
            continue;
        std::error_code ignored;
        const bool isFolder = entry->is_directory(ignored) && !IsBundle(name);
        entries.push_back({ShownName(entry->path()), entry->path(), isFolder});
    }
    SortForPeople(entries);
    return entries;
}

std::vector<ItemID> ExpendFolder(FileItems& items, std::vector<FolderEntry> entries) {
    std::vector<ItemID> ids;
    ids.reserve(entries.size());
    for (FolderEntry& entry : entries) {
        const tagFILEITEM& item = items.Append({.spec = std::move(entry.path),
                                                .name = std::move(entry.name),
                                                .isFolder = entry.isFolder,
                                                .firstInFolder = ids.empty(),
                                                .pictureCandidate = 1});
        ids.push_back(item.itemID);
    }
    return ids;
}

QString NameOfPlace(const Path& root) {
    if (root == "/")
        return Localized("VOLUME_COMPUTER", "Computer");
    return root == PathOf(QDir::homePath()) ? Localized("VOLUME_HOME", "Home") : QString();
}

std::vector<ItemID> GetSystemDisk(FileItems& items) {
    std::vector<ItemID> ids;
    const auto append = [&](const Path& root, const QString& name) {
        ids.push_back(items.Append({.spec = root, .name = name, .isFolder = 1}).itemID);
    };
    const Path home = PathOf(QDir::homePath());
    platform::Volumes* volumes = App().volumes;
    append("/", NameOfPlace("/"));
    append(home, NameOfPlace(home));
    if (volumes == nullptr)
        return ids;
    for (const platform::Volume& volume : volumes->List()) {
        if (volume.root != "/" && volume.root != home && !IsFrameVolume(volume.root))
            append(volume.root, ShownName(volume.name));
    }
    return ids;
}

}  // namespace lumato::app
