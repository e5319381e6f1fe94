#include "app/shell/shown_list.h"

#include <QMainWindow>
#include <utility>

#include "app/browser/disk_browser.h"
#include "app/list/picture_list.h"
#include "app/parts/control_id.h"
#include "app/parts/texts.h"
#include "picture/picture_state.h"
#include "store/local_files.h"
#include "store/store.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

Path OriginOf(const store::FileData& record) {
    const picture::AlbumEntry* entry =
        record.streamHash ? picture::Pictures().album.Known(*record.streamHash) : nullptr;
    return entry != nullptr ? entry->source : Path();
}

}  // namespace

ShownList TakeShownList(int count) {
    ShownList values;
    const store::FrameGeometry& geometry = store::Store().geometry;
    picture::Pictures().album.Look();  // once for all of them
    for (const store::FileData& record : store::EachOf(store::Store().gmyPictureData)) {
        if (values.pictures.size() == count)
            break;
        const auto hash = record.streamHash.value_or(Digest{});
        Path origin = OriginOf(record);
        values.pictures.append({.name = QString::fromStdString(record.fileName),
                                .hash = QByteArray(reinterpret_cast<const char*>(hash.data()),
                                                   static_cast<qsizetype>(hash.size())),
                                .stream = store::StreamPath(record.fileName),
                                .bitmap = store::BitmapPath(store::BitmapName(record.fileName)),
                                .pixels = QSize(geometry.lcdWidth, geometry.lcdHeight),
                                .bytes = record.picSize,
                                .inFrame = record.inFrame == 1,
                                .whyNoPicture = Localized(record.whyNoBitmap),
                                .origin = FromPath(origin)});
        if (!origin.empty())
            values.origins.insert(std::move(origin));
    }
    return values;
}

void ShownList::ShowIn(QMainWindow& window, int selected) const {
    if (auto* list = FindControlAs<PictureList>(&window, dbControlID1))
        list->ShowPictures(pictures, selected);
    if (auto* browser = FindControlAs<DiskBrowser>(&window, kColumList))
        browser->SetOnFrame(origins);
}

}  // namespace lumato::app
