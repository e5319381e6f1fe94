// The thumbnails that the browser shows, made beside the window: only those that are asked for last, in the
// order in which they are asked for.
//
// Main thread only.
#pragma once

#include <QCache>
#include <QPixmap>
#include <vector>

#include "app/browser/thumbnail_store.h"
#include "app/parts/loose_threads.h"

namespace lumato::app {

class Thumbnails : public QObject {
    Q_OBJECT

  public:
    Thumbnails();

    // The box that those to come are to fit into, in pixels of the screen.
    void SetBox(QSize pixels) { m_box = pixels; }
    // Makes these, the first ones first. What was asked for before and has not begun is forgotten.
    void Want(const std::vector<PhotoFile>& photos);
    // Null when there is none, or none yet. It may be of the photograph, or for the box, of a moment ago.
    [[nodiscard]] QPixmap Find(const Path& file) const;
    // Tries again what had none.
    void ForgetFailures();

  signals:
    void Made(const lumato::Path& file);

  private:
    struct Entry {
        PhotoFile photo;
        QSize box;
        QPixmap pixmap;
    };
    void Make(const PhotoFile& photo);
    void Take(const PhotoFile& photo, QSize box, const QImage& image);

    ThumbnailStore m_store;
    QSize m_box{128, 128};
    QCache<QByteArray, Entry> m_entries;  // by the file's name; costs in kilobytes
    LooseThreads m_threads;
};

}  // namespace lumato::app
