#include "app/browser/file_items.h"

#include <QDir>
#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <utility>

#include "app/parts/loose_threads.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

// For all volumes together.
constexpr std::chrono::milliseconds kAnswerTime{200};

bool IsFrameVolume(const Path& root) {
    return std::ifstream(root / "LanguageUnicode.ini").is_open();
}

// Asks a volume, which may be one that no longer answers: that one is none of a frame's.
class VolumeQuestion {
  public:
    explicit VolumeQuestion(Path root) {
        LooseThreads::Detach(
            [root = std::move(root), promise = m_promise] { promise->set_value(IsFrameVolume(root)); });
    }
    [[nodiscard]] bool IsFrames(std::chrono::steady_clock::time_point until) {
        return m_answer.wait_until(until) == std::future_status::ready && m_answer.get();
    }

  private:
    std::shared_ptr<std::promise<bool>> m_promise = std::make_shared<std::promise<bool>>();
    std::future<bool> m_answer = m_promise->get_future();
};

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

std::vector<ItemID> ExpendFolder(FileItems& items, std::vector<FolderEntry> entries) {
    std::vector<ItemID> ids;
    ids.reserve(entries.size());
    for (FolderEntry& entry : entries) {
        const tagFILEITEM& item = items.Append({.spec = std::move(entry.path),
                                                .name = std::move(entry.name),
                                                .isFolder = entry.isFolder,
                                                .firstInFolder = ids.empty(),
                                                .size = entry.size,
                                                .modified = entry.modified,
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

bool IsOnFrameVolume(const Path& file) {
    for (Path folder = file.parent_path(); folder != folder.parent_path(); folder = folder.parent_path()) {
        if (IsFrameVolume(folder))
            return true;
    }
    return false;
}

std::vector<ItemID> GetSystemDisk(FileItems& items) {
    std::vector<ItemID> ids;
    for (const Path& root : {Path("/"), PathOf(QDir::homePath())})
        ids.push_back(items.Append({.spec = root, .name = NameOfPlace(root), .isFolder = 1}).itemID);
    return ids;
}

std::vector<FolderEntry> ReadSystemDisk(platform::Volumes* volumes) {
    const Path home = PathOf(QDir::homePath());
    std::vector<FolderEntry> entries = {{.name = {}, .path = "/", .isFolder = true},
                                        {.name = {}, .path = home, .isFolder = true}};
    if (volumes == nullptr)
        return entries;
    std::vector<std::pair<platform::Volume, VolumeQuestion>> others;
    for (platform::Volume& volume : volumes->List()) {
        if (volume.root != "/" && volume.root != home) {
            VolumeQuestion question(volume.root);
            others.emplace_back(std::move(volume), std::move(question));
        }
    }
    const auto until = std::chrono::steady_clock::now() + kAnswerTime;
    for (auto& [volume, question] : others) {
        if (!question.IsFrames(until))
            entries.push_back({.name = ShownName(volume.name), .path = volume.root, .isFolder = true});
    }
    return entries;
}

}  // namespace lumato::app
