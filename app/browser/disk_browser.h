// The disk browser: the computer's volumes and folders, in columns, of which opening a folder adds one to its
// right, or the open folder alone as a grid of thumbnails. Folders are read beside the window, each for
// itself, so that neither a large one nor one that never answers keeps anybody waiting.
//
// Main thread only. folder_changes.cpp has what happens to a folder that is open.
#pragma once

#include <QHBoxLayout>
#include <QMenu>
#include <QScrollArea>
#include <QTimer>
#include <QToolButton>
#include <vector>

#include "app/browser/folder_column.h"
#include "app/browser/folder_watch.h"
#include "app/browser/path_bar.h"
#include "app/parts/loose_threads.h"

namespace lumato::app {

enum class BrowserView { Thumbnails, Columns };

class DiskBrowser : public QWidget {
    Q_OBJECT

  public:
    explicit DiskBrowser(QWidget* parent = nullptr);

    // Lists the volumes in the first column.
    void MyInitializeDataBrowserControl();
    // Shows nothing any more, and has no records.
    void ForgetAll();
    // Opens the columns from a volume down to this folder, as far as they exist.
    void OpenPath(const Path& folder);
    // Opens the folder above the open one.
    void GoUp();
    // Turns to the line that a path is typed into.
    void EditPath() { m_path->Edit(); }
    // Reads what is open anew; what stays keeps its records, its selection and its place.
    void Refresh();
    void SetView(BrowserView view);
    void SetOrder(SortOrder order);
    // Marks the photographs that these listed pictures were made from.
    void SetOnFrame(std::set<Path> photographs);
    // The menu of a button beside the path.
    void SetMenu(QMenu* menu) { m_menu = menu; }
    // Shows texts of the chosen language.
    void ShowTexts();

    [[nodiscard]] FileItems& Items() { return m_shown.items; }
    // The IDs of all selected items, in ascending order.
    [[nodiscard]] std::vector<ItemID> Selected() const;
    // The IDs of the items of the folder that was opened last, as they stand there.
    [[nodiscard]] const std::vector<ItemID>& InOrder() const;
    // Selects the file, without loading it; what else is selected stays only if the file was selected, too.
    // kNoItem: selects no file.
    void SelectQuietly(ItemID id);
    // Gives the keyboard to the last column.
    void TakeFocus();
    // The deepest folder that is open; empty when none is.
    [[nodiscard]] Path OpenFolder() const;
    // The folder to come back to: the open one, or the one that OpenPath() is still on its way to.
    [[nodiscard]] Path WantedFolder() const { return m_opening.empty() ? OpenFolder() : m_opening; }
    // A folder is still being read.
    [[nodiscard]] bool IsReading() const;

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
    [[nodiscard]] bool IsGrid() const { return m_view == BrowserView::Thumbnails; }
    void MakeBar();
    void SizeColumns();
    void ShowWay();
    FolderColumn* AddColumn(ItemID folder);
    void CloseColumnsBehind(std::size_t column);
    void ForgetRecords(const std::vector<ItemID>& ids);
    void GoBackTo(std::size_t column);
    void OpenFolderOf(ItemID item);
    void TakeSelection(FolderColumn* column);
    void ContinueOpening();
    void EndOpening();
    void Leave(FolderColumn* column, int direction);
    [[nodiscard]] std::size_t PositionOf(const FolderColumn* column) const;
    void ShowLastColumn();
    void WantThumbnails();

    // ---- folder_changes.cpp
    void Read(FolderColumn* column);
    void ReadVolumes(FolderColumn* root);
    void TakeFolder(FolderColumn* column, FolderReading reading);
    void TakeChanges(FolderColumn* column, std::vector<FolderEntry> entries);
    void TakeChange(int watch);
    void StopWatching(int watch);

    BrowserItems m_shown;
    BrowserView m_view = BrowserView::Thumbnails;
    SortOrder m_order = SortOrder::ByName;
    PathBar* m_path = nullptr;
    QToolButton* m_upButton = nullptr;
    QToolButton* m_menuButton = nullptr;
    QMenu* m_menu = nullptr;
    QScrollArea* m_area = nullptr;
    QHBoxLayout* m_layout = nullptr;
    std::vector<FolderColumn*> m_columns;
    FolderWatch m_watch;
    std::set<int> m_changed;  // watches of folders that are to be read anew
    QTimer m_changeTimer;
    QTimer m_thumbnailTimer;
    LooseThreads m_reader;
    int m_request = 0;     // of the folder asked for last
    bool m_quiet = false;  // a selection from code that is not to be told of
    Path m_opening;        // the folder that OpenPath() is on its way to
};

}  // namespace lumato::app
