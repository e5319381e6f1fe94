// The ordered pictures that are, or are to be, on the connected frame: first those in its flash, in the order
// of the picture table, then those added since. Positions are 1-based; position 0 is the sentinel.
//
// A singly linked list behind a header; the list owns its records. Used by the thread that owns the frame.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

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

}  // namespace lumato::store
