// How an open folder is read, and read anew when it has changed.
#include <QPointer>
#include <algorithm>
#include <unordered_map>
#include <utility>

#include "app/browser/disk_browser.h"
#include "app/parts/app_state.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr std::chrono::seconds kReadingIsSaid{1};

// The step of the way to `target` that lies in `folder`; nothing when the way does not lead through it.
Path StepTowards(const Path& target, const Path& folder) {
    const auto [end, rest] = std::ranges::mismatch(folder, target);
    const bool leadsThere = (end == folder.end() || end->empty()) && rest != target.end();
    return leadsThere ? folder / *rest : Path();
}

bool IsSame(const tagFILEITEM& item, const FolderEntry& entry) {
    return item.size == entry.size && item.modified == entry.modified &&
           (item.isFolder != 0) == entry.isFolder;
}

}  // namespace

void DiskBrowser::Read(FolderColumn* column) {
    const tagFILEITEM* folder = Items().Find(column->Folder());
    if (folder == nullptr && column->Folder() != kRootContainer)
        return;
    if (column->reading != 0) {
        column->readAgain = true;
        return;
    }
    column->reading = ++m_request;
    column->readAgain = false;
    if (folder == nullptr) {
        ReadVolumes(column);
        return;
    }
    const FolderRequest request{.folder = folder->spec,
                                .onFirstVolume = column->Folder() == kFirstItem,
                                .order = m_order,
                                .wanted = StepTowards(m_opening, folder->spec)};
    QTimer::singleShot(kReadingIsSaid, column, [this, column, number = column->reading] {
        if (column->reading != number)
            return;
        column->SetHint(Localized("BROWSER_READING", "Reading…"));
        m_area->setUpdatesEnabled(true);
    });
    m_reader.Start([this, request, target = QPointer(column),
                    handle = m_watch.Handle()]() mutable -> LooseThreads::Outcome {
        const int watch = handle->Add(request.folder);
        auto reading = std::make_shared<FolderReading>(ReadFolder(request));
        return [this, target, watch, reading] {
            if (target == nullptr || PositionOf(target) == m_columns.size()) {
                StopWatching(watch);
                return;
            }
            // The folder of that name may be another one by now.
            if (const int before = std::exchange(target->watch, watch); before != watch)
                StopWatching(before);
            TakeFolder(target, std::move(*reading));
        };
    });
}

// Each volume is asked what it is, and one that has died never answers.
void DiskBrowser::ReadVolumes(FolderColumn* root) {
    m_reader.Start([this, root, volumes = App().volumes]() -> LooseThreads::Outcome {
        auto reading = std::make_shared<FolderReading>(
            FolderReading{.entries = ReadSystemDisk(volumes), .isReadable = true});
        return [this, root, reading] {
            if (root->Model().Ids().empty())  // all has been forgotten
                return;
            TakeFolder(root, std::move(*reading));
            if (m_columns.back() == root)
                ContinueOpening();
        };
    });
}

void DiskBrowser::TakeFolder(FolderColumn* column, FolderReading reading) {
    const bool isFirst = !column->isListed;
    column->isListed = true;
    column->reading = 0;
    column->SetHint(reading.isReadable ? Localized("BROWSER_EMPTY", "This folder is empty")
                                       : Localized("BROWSER_UNREADABLE", "This folder can’t be read"));
    if (isFirst)
        column->Model().SetItems(ExpendFolder(Items(), std::move(reading.entries)));
    else
        TakeChanges(column, std::move(reading.entries));
    if (column->readAgain)
        Read(column);
    if (!isFirst || column != m_columns.back())
        return;
    ShowLastColumn();
    ContinueOpening();
    if (m_opening.empty())
        emit FolderOpened(OpenFolder());
}

void DiskBrowser::TakeChanges(FolderColumn* column, std::vector<FolderEntry> entries) {
    std::unordered_map<std::string, ItemID> known;
    for (const ItemID id : column->Model().Ids())
        known.emplace(Items().Find(id)->spec.native(), id);
    std::vector<ItemID> ids;
    ids.reserve(entries.size());
    for (FolderEntry& entry : entries) {
        const auto found = known.find(entry.path.native());
        tagFILEITEM* item = found == known.end() ? nullptr : Items().Find(found->second);
        if (item == nullptr || (item->isFolder != 0) != entry.isFolder) {
            item = &Items().Append({.spec = std::move(entry.path),
                                    .name = std::move(entry.name),
                                    .isFolder = entry.isFolder,
                                    .size = entry.size,
                                    .modified = entry.modified,
                                    .pictureCandidate = 1});
        } else {
            // Another picture under the same name may be one that can be read.
            if (!IsSame(*item, entry))
                item->pictureCandidate = 1;
            item->size = entry.size;
            item->modified = entry.modified;
            known.erase(found);
        }
        ids.push_back(item->itemID);
    }
    std::vector<ItemID> gone;
    for (const auto& [path, id] : known)
        gone.push_back(id);
    const std::size_t position = PositionOf(column);
    const bool losesFolder = position + 1 < m_columns.size() &&
                             std::ranges::find(gone, m_columns[position + 1]->Folder()) != gone.end();
    if (losesFolder)
        GoBackTo(position);
    m_quiet = true;
    if (ids == column->Model().Ids())
        column->viewport()->update();
    else
        column->ChangeItems(ids);
    m_quiet = false;
    ForgetRecords(gone);
    // The mark of the first one, wherever that was listed.
    if (const auto first = std::ranges::min_element(ids); first != ids.end())
        Items().Find(*first)->firstInFolder = 1;
    emit column->ViewChanged();
}

void DiskBrowser::Refresh() {
    m_shown.thumbnails.ForgetFailures();
    for (FolderColumn* column : m_columns)
        Read(column);
}

// Many changes come one upon the other; a folder is read once for them, and not again before it has been.
void DiskBrowser::TakeChange(int watch) {
    m_changed.insert(watch);
    if (!m_changeTimer.isActive())
        m_changeTimer.start();
}

// Unless another column shows the same folder.
void DiskBrowser::StopWatching(int watch) {
    const bool isShared =
        std::ranges::any_of(m_columns, [&](const FolderColumn* other) { return other->watch == watch; });
    if (!isShared)
        m_watch.Handle()->Remove(watch);
}

}  // namespace lumato::app
