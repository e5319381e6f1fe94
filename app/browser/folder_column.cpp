#include "app/browser/folder_column.h"

#include <QKeyEvent>
#include <QMimeData>
#include <QMimeDatabase>
#include <QStyle>
#include <QUrl>
#include <algorithm>

#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr int kColumnLetters = 24;

// By the name alone: looking into 20,000 files for their icons would keep everybody waiting.
QIcon IconOf(const tagFILEITEM& item, const QStyle& style) {
    static const QMimeDatabase types;
    if (item.isFolder != 0)
        return QIcon::fromTheme(QStringLiteral("folder"), style.standardIcon(QStyle::SP_DirIcon));
    const QIcon MyDocumentIcon = style.standardIcon(QStyle::SP_FileIcon);
    const QMimeType type = types.mimeTypeForFile(item.name, QMimeDatabase::MatchExtension);
    const QIcon icon = QIcon::fromTheme(type.iconName());
    return icon.isNull() ? QIcon::fromTheme(type.genericIconName(), MyDocumentIcon) : icon;
}

}  // namespace

void FolderModel::SetItems(std::vector<ItemID> ids) {
    beginResetModel();
    m_ids = std::move(ids);
    endResetModel();
}

ItemID FolderModel::IdAt(const QModelIndex& index) const {
    return index.isValid() ? m_ids[static_cast<std::size_t>(index.row())] : kNoItem;
}

QModelIndex FolderModel::IndexOf(ItemID id) const {
    const auto found = std::ranges::lower_bound(m_ids, id);
    if (found == m_ids.end() || *found != id)
        return {};
    return index(static_cast<int>(found - m_ids.begin()));
}

int FolderModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_ids.size());
}

QVariant FolderModel::data(const QModelIndex& index, int role) const {
    const tagFILEITEM* item = m_items.Find(IdAt(index));
    if (item == nullptr)
        return {};
    switch (role) {
        case Qt::DisplayRole:
        case Qt::ToolTipRole:
        case Qt::AccessibleTextRole:
            return item->name;
        case Qt::DecorationRole:
            return IconOf(*item, *static_cast<QWidget*>(QObject::parent())->style());
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
        if (const tagFILEITEM* item = m_items.Find(IdAt(index)))
            urls.append(QUrl::fromLocalFile(FromPath(item->spec)));
    }
    auto* data = new QMimeData;
    data->setUrls(urls);
    return data;
}

FolderColumn::FolderColumn(FileItems& items, ItemID folder, QWidget* parent)
    : QListView(parent), m_folder(folder), m_model(new FolderModel(items, this)) {
    setModel(m_model);
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTextElideMode(Qt::ElideMiddle);
    setDragEnabled(true);
    setFrameShape(QFrame::NoFrame);
}

std::vector<ItemID> FolderColumn::Selected() const {
    std::vector<ItemID> ids;
    const QModelIndexList selected = selectionModel()->selectedIndexes();
    for (const QModelIndex& index : selected)
        ids.push_back(m_model->IdAt(index));
    std::ranges::sort(ids);
    return ids;
}

void FolderColumn::SelectOnly(ItemID id) {
    const QModelIndex index = m_model->IndexOf(id);
    if (!index.isValid())
        return;
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    scrollTo(index);
}

QSize FolderColumn::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * kColumnLetters, QListView::minimumSizeHint().height()};
}

void FolderColumn::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
    QListView::selectionChanged(selected, deselected);
    emit SelectionChanged();
}

void FolderColumn::keyPressEvent(QKeyEvent* event) {
    // Where people read from the right, the next column is on the left.
    const bool mirrored = layoutDirection() == Qt::RightToLeft;
    if (event->key() == Qt::Key_Left || event->key() == Qt::Key_Right)
        emit LeaveTo((event->key() == Qt::Key_Left) == mirrored ? 1 : -1);
    else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        emit LeaveTo(1);
    else
        QListView::keyPressEvent(event);
}

}  // namespace lumato::app
