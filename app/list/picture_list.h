// The frame picture list: the names of the pictures on the frame and of those added since, each with a
// thumbnail beside it.
//
// Main thread only; thumbnails are made beside it from the local bitmaps.
#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QIcon>
#include <QListView>
#include <vector>

#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"
#include "base/file.h"

namespace lumato::app {

// A picture as the list shows it: values, so that a worker may change the list meanwhile.
struct ListedPicture {
    QString name;
    Path bitmap;
    bool inFrame = false;
    Phrase whyNoBitmap;  // empty where there is one
    QString origin;      // the file that it was made from; empty where nobody knows
    bool operator==(const ListedPicture&) const = default;
};

class PictureListModel : public QAbstractListModel {
    Q_OBJECT

  public:
    explicit PictureListModel(QObject* parent = nullptr);
    ~PictureListModel() override;

    // The items are rebuilt, unless only what is said of each has changed; true when they were.
    bool SetPictures(QList<ListedPicture> pictures);
    [[nodiscard]] const QList<ListedPicture>& Pictures() const { return m_pictures; }
    // The words behind the name of a picture that is not yet on the frame; all others anew.
    void SetWaitingText(const QString& text);
    void SetThumbnailSize(QSize pixels) { m_thumbnailSize = pixels; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

  private:
    void FindReasons();
    [[nodiscard]] QString Remark(const ListedPicture& picture) const;
    void MakeThumbnail(const ListedPicture& picture) const;
    void TakeThumbnail(const QString& name, const QImage& image);

    QList<ListedPicture> m_pictures;
    QString m_waitingText;
    QHash<QString, QString> m_reasons;  // by name, in the chosen language
    QSize m_thumbnailSize;
    // By name; a null icon is one in the making. Filled as items are shown.
    mutable QHash<QString, QIcon> m_thumbnails;
    mutable MainThreadCalls m_calls;
    mutable ReaderThread m_reader;
};

class PictureList : public QListView {
    Q_OBJECT

  public:
    explicit PictureList(QWidget* parent = nullptr);

    // Rebuilds the items 1 to n and scrolls to the last; `selected` (0 for none) becomes the only selection.
    void ShowPictures(QList<ListedPicture> pictures, int selected);
    [[nodiscard]] PictureListModel& Model() { return *m_model; }
    // The selected one's position from 1; 0: none is.
    [[nodiscard]] int CurrentItem() const { return currentIndex().row() + 1; }
    void SetHint(const QString& hint);

  signals:
    // An item was selected: its position from 1.
    void ItemSelected(int item);
    // An item was dragged to another place: positions from 1.
    void ItemMoved(int from, int to);
    void FilesDropped(const std::vector<Path>& files);

  protected:
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void SizeThumbnails();
    void TakeDrag(QDragMoveEvent* event);
    void MoveDragged(const QDropEvent& event);

    PictureListModel* m_model;
    QString m_hint;
};

}  // namespace lumato::app
