#include "app/browser/thumbnails.h"

#include <algorithm>
#include <new>
#include <thread>

#include "app/browser/thumbnail_maker.h"

namespace lumato::app {
namespace {

constexpr int kMostKilobytes = 96 * 1024;
constexpr std::chrono::seconds kLongMaking{5};

QByteArray KeyOf(const Path& file) {
    return QByteArray::fromStdString(file.native());
}

// One processor is the window's.
int MakersAtOnce() {
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()) - 1, 1, 4);
}

}  // namespace

Thumbnails::Thumbnails() : m_entries(kMostKilobytes), m_threads(MakersAtOnce(), kLongMaking) {}

void Thumbnails::Want(const std::vector<PhotoFile>& photos) {
    m_threads.Clear();
    for (const PhotoFile& photo : photos) {
        const Entry* entry = m_entries.object(KeyOf(photo.path));
        if ((entry == nullptr || entry->photo != photo || entry->box != m_box) &&
            !m_threads.Runs(photo.path.native()))
            Make(photo);
    }
}

void Thumbnails::Make(const PhotoFile& photo) {
    m_threads.Start(
        [this, photo, box = m_box, store = m_store]() -> LooseThreads::Outcome {
            const int side = ThumbnailStore::SideFor(std::max(box.width(), box.height()));
            QImage image;
            try {
                image = MakeThumbnail(store, photo, side);
                if (image.width() > box.width() || image.height() > box.height())
                    image = image.scaled(box, Qt::KeepAspectRatio, Qt::SmoothTransformation);
            } catch (const std::bad_alloc&) {  // it has none, as one that cannot be read
                image = {};
            }
            return [this, photo, box, image] { Take(photo, box, image); };
        },
        photo.path.native());
}

void Thumbnails::Take(const PhotoFile& photo, QSize box, const QImage& image) {
    const int kilobytes = 1 + static_cast<int>(image.sizeInBytes() / 1024);
    m_entries.insert(KeyOf(photo.path), new Entry{photo, box, QPixmap::fromImage(image)}, kilobytes);
    emit Made(photo.path);
}

QPixmap Thumbnails::Find(const Path& file) const {
    const Entry* entry = m_entries.object(KeyOf(file));
    return entry != nullptr ? entry->pixmap : QPixmap();
}

void Thumbnails::ForgetFailures() {
    for (const QByteArray& key : m_entries.keys()) {
        if (m_entries.object(key)->pixmap.isNull())
            m_entries.remove(key);
    }
}

}  // namespace lumato::app
