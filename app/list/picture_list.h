// The frame picture list: the names of the pictures on the frame and of those added since, each with a
// thumbnail beside it. Several can be selected; the one that was selected last is the current one.
//
// Main thread only.
#pragma once

#include <QListView>
#include <vector>

#include "app/list/picture_list_model.h"

namespace lumato::app {

class PictureList : public QListView {
    Q_OBJECT

  public:
    explicit PictureList(QWidget* parent = nullptr);

    // Shows this list: what stays keeps its place on the screen, unless pictures were added, which are
    // scrolled to. `selected` (0 for none) becomes the current one, and the only selection unless it is in
    // it.
    void ShowPictures(QList<ListedPicture> pictures, int selected);
    [[nodiscard]] PictureListModel& Model() { return *m_model; }
    // Positions from 1, in their order.
    [[nodiscard]] std::vector<int> Selected() const;
    // Of these, the one that was selected last; 0: none is.
    [[nodiscard]] int CurrentItem() const;
    void SetHint(const QString& hint);

  signals:
    // The current item is another one, or was clicked once more: its position from 1, 0 for none.
    void ItemSelected(int item);
    // Items were dragged: positions from 1, and that of the item in front of which they shall stand.
    void ItemsMoved(const std::vector<int>& items, int before);
    void FilesDropped(const std::vector<Path>& files);

  protected:
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void TellCurrent();
    void Select(int item);
    void SizeThumbnails();
    void TakeDrag(QDragMoveEvent* event);
    void MoveDragged(const QDropEvent& event);

    PictureListModel* m_model;
    QByteArray m_told;        // the key of the item that was told of
    bool m_changing = false;  // the list is being shown anew
    QString m_hint;
};

}  // namespace lumato::app
