// The pictures of the frame's list as a model: another list is shown by what came, went and moved, so that
// selection, scroll position and thumbnails stay with the pictures that stay.
//
// Main thread only; thumbnails are decoded beside it from the streams.
#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QIcon>

#include "app/list/listed_picture.h"
#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"

namespace lumato::app {

class PictureListModel : public QAbstractListModel {
    Q_OBJECT

  public:
    explicit PictureListModel(QObject* parent = nullptr);
    ~PictureListModel() override;

    void SetPictures(QList<ListedPicture> pictures);
    [[nodiscard]] const QList<ListedPicture>& Pictures() const { return m_pictures; }
    // The words behind the name of a picture that is not yet on the frame.
    void SetWaitingText(const QString& text);
    void SetThumbnailSize(QSize pixels) { m_thumbnailSize = pixels; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

  private:
    struct Thumbnail {
        QIcon icon;
        int quality = 0;
    };
    void Remove(const QList<QByteArray>& wanted);
    void Reorder(const QList<QByteArray>& wanted);
    void Insert(const QList<ListedPicture>& pictures, const QList<QByteArray>& wanted);
    void Update(QList<ListedPicture> pictures);
    [[nodiscard]] QStringList Remark(const ListedPicture& picture) const;
    [[nodiscard]] QString ToolTip(const ListedPicture& picture, const QByteArray& key) const;
    void MakeThumbnail(const ListedPicture& picture, const QByteArray& key) const;
    void TakeThumbnail(const QByteArray& key, const QImage& image, int quality);

    QList<ListedPicture> m_pictures;
    QList<QByteArray> m_keys;  // of these
    QString m_waitingText;
    QSize m_thumbnailSize;
    // By key; an empty icon is one in the making. Filled as items are shown.
    mutable QHash<QByteArray, Thumbnail> m_thumbnails;
    mutable MainThreadCalls m_calls;
    mutable ReaderThread m_reader;
};

}  // namespace lumato::app
