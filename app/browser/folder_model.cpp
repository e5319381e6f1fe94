#include "app/browser/folder_model.h"

#include <QDateTime>
#include <QIcon>
#include <QLocale>
#include <QMimeData>
#include <QMimeDatabase>
#include <QStyle>
#include <QUrl>
#include <QWidget>
#include <utility>

#include "app/parts/file_urls.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

// By the name alone: looking into 20,000 files for their icons would keep everybody waiting.
QIcon IconOf(const tagFILEITEM& item, const QStyle& style) {
    static const QMimeDatabase types;
    // A style's own icons are read from files each time: only where the theme has none.
    const auto icon = [&](const QString& name, QStyle::StandardPixmap other) {
        const QIcon ofTheme = QIcon::fromTheme(name);
        return ofTheme.isNull() ? style.standardIcon(other) : ofTheme;
    };
    if (item.isFolder != 0)
        return icon(QStringLiteral("folder"), QStyle::SP_DirIcon);
    const QMimeType type = types.mimeTypeForFile(item.name, QMimeDatabase::MatchExtension);
    const QIcon MyDocumentIcon = QIcon::fromTheme(type.iconName());
    return MyDocumentIcon.isNull() ? icon(type.genericIconName(), QStyle::SP_FileIcon) : MyDocumentIcon;
}

QString TipOf(const tagFILEITEM& item) {
    if (item.isFolder != 0 || item.modified == 0)
        return item.name;
    const QLocale locale;
    const QDateTime date = QDateTime::fromSecsSinceEpoch(item.modified);
    return item.name + u'\n' + locale.formattedDataSize(item.size) + QStringLiteral(", ") +
           locale.toString(date, QLocale::ShortFormat);
}

}  // namespace

FolderModel::FolderModel(BrowserItems& shown, QWidget* parent) : QAbstractListModel(parent), m_shown(shown) {}

void FolderModel::ReadIcons(const QWidget& window, int side) {
    for (const bool folder : {true, false}) {
        tagFILEITEM item;
        item.name = QStringLiteral("a.jpg");
        item.isFolder = folder ? 1 : 0;
        static_cast<void>(
            IconOf(item, *window.style()).pixmap(QSize(side, side), window.devicePixelRatioF()));
    }
}

void FolderModel::SetItems(std::vector<ItemID> ids) {
    beginResetModel();
    m_ids = std::move(ids);
    m_rows.clear();
    m_rows.reserve(static_cast<qsizetype>(m_ids.size()));
    for (const ItemID id : m_ids)
        m_rows.insert(id, static_cast<int>(m_rows.size()));
    endResetModel();
}

ItemID FolderModel::IdAt(const QModelIndex& index) const {
    return index.isValid() ? m_ids[static_cast<std::size_t>(index.row())] : kNoItem;
}

QModelIndex FolderModel::IndexOf(ItemID id) const {
    const auto found = m_rows.constFind(id);
    return found == m_rows.constEnd() ? QModelIndex() : index(*found);
}

int FolderModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_ids.size());
}

bool FolderModel::IsOnFrame(const tagFILEITEM& item) const {
    return item.isFolder == 0 && m_shown.onFrame.contains(item.spec);
}

QVariant FolderModel::data(const QModelIndex& index, int role) const {
    const tagFILEITEM* item = m_shown.items.Find(IdAt(index));
    if (item == nullptr)
        return {};
    switch (role) {
        case Qt::DisplayRole:
        case Qt::AccessibleTextRole:
            return item->name;
        case Qt::ToolTipRole:
            return TipOf(*item);
        case Qt::AccessibleDescriptionRole:
            return IsOnFrame(*item) ? Localized("FRAME_HEADING", "On the frame") : QString();
        case Qt::DecorationRole:
            return IconOf(*item, *static_cast<QWidget*>(QObject::parent())->style());
        case kThumbnailRole:
            return item->isFolder != 0 ? QPixmap() : m_shown.thumbnails.Find(item->spec);
        case kOnFrameRole:
            return IsOnFrame(*item);
        default:
            return {};
    }
}

Qt::ItemFlags FolderModel::flags(const QModelIndex& index) const {
    return QAbstractListModel::flags(index) | Qt::ItemIsDragEnabled;
}

QStringList FolderModel::mimeTypes() const {
    return {QStringLiteral("text/uri-list")};
}

QMimeData* FolderModel::mimeData(const QModelIndexList& indexes) const {
    QList<QUrl> urls;
    for (const QModelIndex& index : indexes) {
        if (const tagFILEITEM* item = m_shown.items.Find(IdAt(index)))
            urls.append(UrlOf(item->spec));
    }
    auto* data = new QMimeData;
    data->setUrls(urls);
    return data;
}

}  // namespace lumato::app
