#include "store/picture_list.h"

#include <algorithm>

namespace lumato::store {

FileDataHead* CreateList() {
    return new FileDataHead{0, new FileData{}};
}

bool AddNode(FileDataHead* list, FileData* record) {
    if (list == nullptr || record == nullptr)
        return false;
    GetNode(list, list->count)->next = record;
    ++list->count;
    return true;
}

bool DelNode(FileDataHead* list, int position) {
    if (list == nullptr)
        return false;
    const int last = std::min(position, list->count);
    if (last < 1)
        return true;  // an empty list; the sentinel is never removed
    FileData* before = GetNode(list, last - 1);
    FileData* removed = before->next;
    before->next = removed->next;
    delete removed;
    --list->count;
    return true;
}

FileData* GetNode(FileDataHead* list, int position) {
    FileData* record = list->sentinel;
    for (int i = std::min(position, list->count); i > 0; --i)
        record = record->next;
    return record;
}

int PositionOf(const FileDataHead* list, const std::string& fileName) {
    int position = 0;
    for (const FileData& record : EachOf(list)) {
        ++position;
        if (record.fileName == fileName)
            return position;
    }
    return 0;
}

void FreeList(FileDataHead* list) {
    if (list == nullptr)
        return;
    for (FileData* record = list->sentinel; record != nullptr;) {
        FileData* next = record->next;
        delete record;
        record = next;
    }
    delete list;
}

}  // namespace lumato::store
