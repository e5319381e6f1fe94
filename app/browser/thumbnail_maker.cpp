#include "app/browser/thumbnail_maker.h"

#include <QHash>
#include <QMimeDatabase>
#include <algorithm>
#include <chrono>
#include <optional>

#include <sys/stat.h>

#include "app/browser/file_items.h"
#include "app/parts/screen_image.h"
#include "import/import.h"

namespace lumato::app {
namespace {

// A file that has just been written may be written on, within the second that its date counts.
constexpr std::int64_t kSettledSeconds = 2;

std::optional<PhotoFile> PhotoNow(const Path& path) {
    struct stat state {};
    if (::stat(path.c_str(), &state) != 0 || !S_ISREG(state.st_mode))
        return std::nullopt;
    return PhotoFile{path, state.st_size, state.st_mtim.tv_sec};
}

bool IsSettled(const PhotoFile& photo) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count() - photo.modified > kSettledSeconds ||
           photo.modified > std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

QImage Reduced(const picture::BitmapInfo& info, int side) {
    const QImage held = ImageOf(info);
    const double scale = std::min(
        1.0, static_cast<double>(side) / std::max({info.width, static_cast<unsigned>(info.height), 1U}));
    const QSize size(std::max(1, static_cast<int>(info.width * scale + 0.5)),
                     std::max(1, static_cast<int>(info.height * scale + 0.5)));
    return held.size() == size ? held : held.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace

bool IsPictureName(const QString& name) {
    static const QMimeDatabase types;
    return types.mimeTypeForFile(name, QMimeDatabase::MatchExtension).name().startsWith(u"image/");
}

QImage MakeThumbnail(const ThumbnailStore& store, const PhotoFile& asListed, int side) {
    const std::optional<PhotoFile> photo = PhotoNow(asListed.path);
    if (!photo)
        return {};
    const bool isShared = !store.Holds(photo->path);
    if (isShared) {
        if (QImage kept = store.Read(*photo, side); !kept.isNull())
            return kept;
        if (store.HasFailed(*photo))
            return {};
    }
    picture::BitmapInfo info;
    const auto scaleNeeded = [side](int width, int height) {
        return std::min(1.0, static_cast<double>(side) / std::max({width, height, 1}));
    };
    const auto imported =
        picture::CreateMyImage(photo->path, false, scaleNeeded, info, picture::Processors::One);
    const bool isForStore =
        isShared && IsSettled(*photo) && PhotoNow(photo->path) == photo && !IsOnFrameVolume(photo->path);
    if (!imported) {
        const ErrorKind why = imported.error().kind;
        if (isForStore && (why == ErrorKind::Unsupported || why == ErrorKind::Damaged))
            store.WriteFailure(*photo);
        return {};
    }
    QImage thumbnail = Reduced(info, side);
    if (isForStore)
        store.Write(*photo, thumbnail, side);
    return thumbnail;
}

}  // namespace lumato::app
