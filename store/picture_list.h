// The ordered pictures that are, or are to be, on the connected frame: first those in its flash, in the order
// of the picture table, then those added since. Positions are 1-based; position 0 is the sentinel.
//
// A singly linked list behind a header; the list owns its records. Used by the thread that owns the frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/file.h"
#include "base/sha256.h"

namespace lumato::store {

inline constexpr std::int32_t kAddedSequenceBase = 1000;  // of seqIndex: from here on it was added

struct FileData {
    Path fileRef;               // local bitmap in "data"
    std::string fileName;       // bare name, the same in "data" (bitmap) and "Edata" (stream); UTF-8
    std::uint8_t inFrame = 0;   // 1: stored in the frame's flash and listed in its table
    std::uint8_t afterGap = 0;  // 1: its flash copy lies behind a freed slot or a deleted picture
    std::int32_t seqIndex = 0;  // 0-based order among those read back, or list position + 1000 when added
    std::int32_t picSize = 0;   // bytes of its stream
    std::optional<Digest> streamHash = {};  // of its stream when it was read from the frame or added
    std::int32_t journalPosition = 0;  // in the list of the download that broke off, from 1; 0: not in it
    std::int32_t oldAddress = 0;       // where it lay before that download, if it can lie there again; else 0
    Phrase whyNoBitmap = {};           // why it could not be decoded, though nothing says that it is damaged
    bool onlyOnFrame = false;          // its stream is too much for the local folder, too
    FileData* next = nullptr;
};

struct FileDataHead {
    std::int32_t count = 0;  // records behind the sentinel
    FileData* sentinel = nullptr;
};

FileDataHead* CreateList();
// Links `record` (made with new, its `next` null) behind the last one. False if either is null.
bool AddNode(FileDataHead* list, FileData* record);
// Removes and frees the record at min(position, count); nothing to remove in an empty list. False only for
// null.
bool DelNode(FileDataHead* list, int position);
// The record at min(position, count).
FileData* GetNode(FileDataHead* list, int position);
// The position of the picture of that name; 0: there is none. Null is an empty list.
[[nodiscard]] int PositionOf(const FileDataHead* list, const std::string& fileName);
void FreeList(FileDataHead* list);

struct ListDeleter {
    void operator()(FileDataHead* list) const { FreeList(list); }
};
using PictureList = std::unique_ptr<FileDataHead, ListDeleter>;

// The pictures of a list, one after the other; null is an empty list. The list does not change meanwhile.
class PictureRange {
  public:
    class Iterator {
      public:
        using value_type = FileData;
        using difference_type = std::ptrdiff_t;

        Iterator() = default;
        explicit Iterator(FileData* record) : m_record(record) {}
        FileData& operator*() const { return *m_record; }
        Iterator& operator++() {
            m_record = m_record->next;
            return *this;
        }
        Iterator operator++(int) { return std::exchange(*this, Iterator(m_record->next)); }
        bool operator==(const Iterator&) const = default;

      private:
        FileData* m_record = nullptr;
    };

    explicit PictureRange(const FileDataHead* list) : m_list(list) {}
    [[nodiscard]] Iterator begin() const {
        return m_list != nullptr ? Iterator(m_list->sentinel->next) : Iterator();
    }
    [[nodiscard]] static Iterator end() { return {}; }

  private:
    const FileDataHead* m_list;
};
[[nodiscard]] inline PictureRange EachOf(const FileDataHead* list) {
    return PictureRange(list);
}
[[nodiscard]] inline PictureRange EachOf(const PictureList& list) {
    return PictureRange(list.get());
}

}  // namespace lumato::store
