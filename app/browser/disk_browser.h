// The disk browser: the computer's volumes and folders in columns. Opening a folder adds a column to its
// right; folders are read beside the window, so that a large one keeps nobody waiting.
//
// Main thread only.
#pragma once

#include <QHBoxLayout>
#include <QScrollArea>
#include <vector>

#include "app/browser/folder_column.h"
#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"

namespace lumato::app {

class DiskBrowser : public QScrollArea {
    Q_OBJECT

  public:
    explicit DiskBrowser(QWidget* parent = nullptr);
    ~DiskBrowser() override;

    // Lists the volumes in the first column.
    void MyInitializeDataBrowserControl();
    // Opens the columns from a volume down to this folder, as far as they exist.
    void OpenPath(const Path& folder);
    // Shows texts of the chosen language.
    void ShowTexts();

    [[nodiscard]] FileItems& Items() { return FileItemArray; }
    // The IDs of all selected items, in ascending order.
    [[nodiscard]] std::vector<ItemID> Selected() const;
    // Selects the file, without loading it; what else is selected stays only if the file was selected, too.
    // kNoItem: no file is selected any more.
    void SelectQuietly(ItemID id);
    // Gives the keyboard to the last column.
    void TakeFocus();
    // The deepest folder that is open; empty when none is.
    [[nodiscard]] Path OpenFolder() const;
    // The folder to come back to: the open one, or the one that OpenPath() is still on its way to.
    [[nodiscard]] Path WantedFolder() const { return m_opening.empty() ? OpenFolder() : m_opening; }
    // A folder is still being read.
    [[nodiscard]] bool IsReading() const { return m_reading > 0; }

    // The file last loaded as the edit picture from this browser, or none.
    ItemID G_CurSelItem = kNoItem;

  signals:
    // The selection has changed; walk the records to see what to load.
    void SelectionSetChanged();
    // The user's folder, or the one that OpenPath() has come to, has been read; none of those on the way.
    void FolderOpened(const Path& folder);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void SizeColumns();
    FolderColumn* AddColumn(ItemID folder);
    void CloseColumnsBehind(std::size_t column);
    void OpenFolderOf(ItemID item);
    void TakeFolder(ItemID folder, int request, std::vector<FolderEntry> entries);
    void TakeSelection(FolderColumn* column);
    void ContinueOpening();
    void Leave(FolderColumn* column, int direction);
    [[nodiscard]] std::size_t PositionOf(const FolderColumn* column) const;
    void ShowLastColumn();

    FileItems FileItemArray;
    QHBoxLayout* m_layout = nullptr;
    std::vector<FolderColumn*> m_columns;
    MainThreadCalls m_calls;
    ReaderThread m_reader;
    int m_request = 0;  // of the folder asked for last
    int m_reading = 0;
    bool m_quiet = false;  // a selection from code that is not to be told of
    Path m_opening;        // the folder that OpenPath() is on its way to
};

}  // namespace lumato::app
