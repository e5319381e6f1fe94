// The items of one folder: a column of names, or a grid of thumbnails.
//
// Main thread only.
#pragma once

#include <QListView>
#include <vector>

#include "app/browser/folder_model.h"

namespace lumato::app {

class ThumbnailDelegate;

class FolderColumn : public QListView {
    Q_OBJECT

  public:
    FolderColumn(BrowserItems& shown, ItemID folder, QWidget* parent);

    [[nodiscard]] ItemID Folder() const { return m_folder; }
    [[nodiscard]] FolderModel& Model() { return *m_model; }
    [[nodiscard]] std::vector<ItemID> Selected() const;
    // Makes the item the only selection, in view.
    void SelectOnly(ItemID id);
    // Other items, of which those that were there before stay selected and where they are.
    void ChangeItems(std::vector<ItemID> ids);

    void ShowAsGrid(bool grid);
    // The items that can be seen, those nearest to the middle first.
    [[nodiscard]] std::vector<ItemID> InView() const;
    // The box of a thumbnail in pixels of the screen.
    [[nodiscard]] QSize ThumbnailPixels() const;
    // What is said in the place of items, where there are none.
    void SetHint(const QString& hint);

    [[nodiscard]] QSize minimumSizeHint() const override;

    // ---- for the browser alone: how the folder is read
    int reading = 0;  // the request that is under way; 0: none
    bool readAgain = false;
    bool isListed = false;
    int watch;

  signals:
    void SelectionChanged();
    // The user wants the folder opened.
    void FolderChosen(lumato::app::ItemID folder);
    // The keyboard asks for the column on the left (-1) or on the right (1).
    void LeaveTo(int direction);
    // The user has begun to type a path.
    void PathBegun(const QString& text);
    // InView() may have changed.
    void ViewChanged();

  protected:
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void SizeTiles();

    ItemID m_folder;
    FolderModel* m_model;
    ThumbnailDelegate* m_delegate;
    QString m_hint;
    bool m_isGrid = false;
    int m_perRow = 1;  // tiles
};

}  // namespace lumato::app
