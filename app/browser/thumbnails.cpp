#include "app/browser/thumbnails.h"

#include <algorithm>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

#include "app/browser/thumbnail_maker.h"

namespace lumato::app {
namespace {

constexpr int kMostKilobytes = 96 * 1024;
constexpr int kHelperPriority = 10;
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

void Thumbnails::SetSide(int pixels) {
    const int side = ThumbnailStore::SideFor(pixels);
    if (side == m_side)
        return;
    m_side = side;
    m_threads.Clear();
    m_entries.clear();
}

void Thumbnails::Want(const std::vector<PhotoFile>& photos) {
    m_threads.Clear();
    for (const PhotoFile& photo : photos) {
        const Entry* entry = m_entries.object(KeyOf(photo.path));
        if ((entry == nullptr || entry->photo != photo) && !m_threads.Runs(photo.path.native()))
            Make(photo);
    }
}

void Thumbnails::Make(const PhotoFile& photo) {
    m_threads.Start(
        [this, photo, side = m_side, store = m_store]() -> LooseThreads::Outcome {
            ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kHelperPriority);  // of this thread
            const QImage image = MakeThumbnail(store, photo, side);
            return [this, photo, side, image] { Take(photo, side, image); };
        },
        photo.path.native());
}

void Thumbnails::Take(const PhotoFile& photo, int side, const QImage& image) {
    if (side != m_side)
        return;
    const int kilobytes = 1 + static_cast<int>(image.sizeInBytes() / 1024);
    m_entries.insert(KeyOf(photo.path), new Entry{photo, QPixmap::fromImage(image)}, kilobytes);
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
