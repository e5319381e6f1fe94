// What was done to the list since the last download, to be undone and done again, step by step.
//
// How the list stands after each edit is kept; what its pictures' local files hold is kept with it in the
// local folder "undo" until the history is forgotten, so that names which are used anew take nothing away.
// Used by the thread that owns the store.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "base/error.h"
#include "platform/task.h"
#include "store/store_state.h"

namespace lumato::store {

struct Edit {
    enum class Kind { Add, Delete, Move, Replace, Restore };
    Kind kind = Kind::Add;
    int pictures = 1;  // that came, went or changed; of Restore, that the list has then
};

class EditHistory {
  public:
    ~EditHistory();
    EditHistory() = default;
    EditHistory(const EditHistory&) = delete;
    EditHistory& operator=(const EditHistory&) = delete;

    // Carries the edit out. It cannot be undone, nor can what was done before it, where its pictures cannot
    // be kept: the edit is what people asked for.
    void Do(Edit::Kind kind, const std::function<void()>& edit);

    // What Undo() and Redo() would do; nothing: there is nothing, or the list is not the one that was kept.
    [[nodiscard]] std::optional<Edit> Undoable() const;
    [[nodiscard]] std::optional<Edit> Redoable() const;
    // List, table, space, selection, local files and journal as they stood. Without effect when there is
    // nothing. Errors: the files cannot be brought back; nothing is changed then.
    Result<void> Undo();
    Result<void> Redo();

    // All of it is for good: the list was downloaded, or the frame is gone. The files go beside the caller.
    void Forget();
    void WaitForRemoval() { m_emptying.Join(); }

  private:
    struct Standing {
        Edit edit;                      // that led here; of the first one it means nothing
        std::vector<FileData> records;  // `next` means nothing
        std::array<std::uint8_t, kTableSize> table{};
        std::array<std::uint8_t, kTableSize> tableOnFrame{};  // another one: another frame, or a download
        std::int32_t fileNumber = 0;
        std::int32_t selected = 0;
        bool orderResumed = false;
        std::shared_ptr<Journal> journal;  // of what waited then
    };

    [[nodiscard]] static Standing Present();
    [[nodiscard]] bool IsPresent() const;
    Result<void> KeepFiles();
    Result<void> KeepFiles(FileData& record);
    void Push(Standing after);
    Result<void> GoTo(std::size_t index);
    [[nodiscard]] Result<void> BringFilesBack(const std::vector<FileData>& records) const;
    void ForgetUnused();

    std::vector<Standing> m_standings;   // the first one is before all edits
    std::size_t m_present = 0;           // of m_standings
    std::shared_ptr<Journal> m_journal;  // as the last step left it: another one is not of these edits
    Path m_folder;                       // that the files are kept in
    platform::Task m_emptying;           // of that folder: hundreds of files take their time
    std::map<Digest, int> m_kept;        // the number of the files that hold a stream and its bitmap
    int m_lastKept = 0;
};

}  // namespace lumato::store
