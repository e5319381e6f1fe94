// The disk browser's records: one per listed volume, folder or file.
//
// Main thread only.
#pragma once

#include <QString>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "app/browser/folder_reader.h"
#include "base/file.h"
#include "platform/volumes.h"

namespace lumato::app {

using ItemID = std::uint32_t;

inline constexpr ItemID kNoItem = 0;
inline constexpr ItemID kRootContainer = 1;
inline constexpr ItemID kFirstItem = 2;

struct tagFILEITEM {
    ItemID itemID = kNoItem;
    Path spec;     // the volume's root folder, or the folder or file
    QString name;  // as shown
    std::uint8_t isFolder = 0;
    std::uint8_t firstInFolder = 0;     // listed first when its folder was opened
    std::int64_t size = 0;              // of a file, when its folder was read
    std::int64_t modified = 0;          // likewise
    std::uint8_t pictureCandidate = 0;  // until the file has failed to load as a picture
    Phrase whyNot{};                    // it has: as it is said beside the note
};

// FileItemArray: the records in the order in which they were listed, which is that of their IDs. A record is
// found by its ID, whatever has been removed before it.
class FileItems {
  public:
    using Items = std::map<ItemID, tagFILEITEM>;

    // Appends a record; its ID is one above the last record's.
    tagFILEITEM& Append(tagFILEITEM item);
    void Remove(ItemID id) { m_items.erase(id); }
    void Clear() { m_items.clear(); }

    [[nodiscard]] tagFILEITEM* Find(ItemID id);
    [[nodiscard]] const Items& All() const { return m_items; }

  private:
    Items m_items;
};

// Appends the entries to the records; returns their IDs, in order.
std::vector<ItemID> ExpendFolder(FileItems& items, std::vector<FolderEntry> entries);

// The file lies on the frame's own volume. From any thread.
[[nodiscard]] bool IsOnFrameVolume(const Path& file);

// Appends the two places that are there on every computer: all of it, and the user's own folder.
std::vector<ItemID> GetSystemDisk(FileItems& items);
// These two, without names, and the mounted volumes with the frame's own left out. From any thread; waits a
// moment for those that do not answer. `volumes`: null when there are none.
[[nodiscard]] std::vector<FolderEntry> ReadSystemDisk(platform::Volumes* volumes);
// What the first two of them are called; empty for others.
QString NameOfPlace(const Path& root);

}  // namespace lumato::app
