// The last deletion, kept so that it can be taken back until the list changes in another way.
//
// Used by the thread that owns the store.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "store/store_state.h"

namespace lumato::store {

class DeletionUndo {
  public:
    ~DeletionUndo();
    DeletionUndo() = default;
    DeletionUndo(const DeletionUndo&) = delete;
    DeletionUndo& operator=(const DeletionUndo&) = delete;

    // Deletes as DeletePictures() does, after noting how everything stood. The deleted bitmaps are kept in
    // the local folder "undo"; where that cannot be done, the deletion is for good.
    void DeletePictures();

    [[nodiscard]] bool IsPossible() const { return m_possible; }
    // List, table, space, selection and local files as they stood before. Requires: IsPossible().
    void Undo();
    // The deletion is for good: pictures were added or downloaded, or the frame is gone.
    void Forget();

  private:
    void Note();
    [[nodiscard]] bool KeepBitmaps() const;
    void RestoreBitmaps() const;

    bool m_possible = false;
    std::vector<FileData> m_records;  // `next` means nothing
    std::array<std::uint8_t, kTableSize> m_table{};
    std::int32_t m_fileNumber = 0;
    std::int32_t m_selected = 0;
    std::shared_ptr<Journal> m_journal;  // of the additions that waited then
};

}  // namespace lumato::store
