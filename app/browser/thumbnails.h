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

    // The sides of those to come, in pixels of the screen; the earlier ones go when theirs are others.
    void SetSide(int pixels);
    // Makes these, the first ones first. What was asked for before and has not begun is forgotten.
    void Want(const std::vector<PhotoFile>& photos);
    // Null when there is none, or none yet. It may be of the photograph as it was a moment ago.
    [[nodiscard]] QPixmap Find(const Path& file) const;
    // Tries again what had none.
    void ForgetFailures();

  signals:
    void Made(const lumato::Path& file);

  private:
    struct Entry {
        PhotoFile photo;
        QPixmap pixmap;
    };
    void Make(const PhotoFile& photo);
    void Take(const PhotoFile& photo, int side, const QImage& image);

    ThumbnailStore m_store;
    int m_side = 128;
    QCache<QByteArray, Entry> m_entries;  // by the file's name; costs in kilobytes
    LooseThreads m_threads;
};

}  // namespace lumato::app
