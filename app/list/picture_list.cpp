#include "app/list/picture_list.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <algorithm>

#include "app/list/picture_delegate.h"
#include "app/parts/app_state.h"
#include "app/parts/file_urls.h"
#include "app/parts/screen_image.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr double kThumbnailLines = 2.4;  // its height, in lines of text: the two beside it and some air

}  // namespace

PictureListModel::PictureListModel(QObject* parent) : QAbstractListModel(parent) {}

PictureListModel::~PictureListModel() {
    m_reader.Clear();
    m_reader.Wait();
}

void PictureListModel::FindReasons() {
    m_reasons.clear();
    for (const ListedPicture& picture : m_pictures) {
        if (!picture.whyNoBitmap.empty())
            m_reasons.insert(picture.name, Localized(picture.whyNoBitmap));
    }
}

bool PictureListModel::SetPictures(QList<ListedPicture> pictures) {
    if (!pictures.isEmpty() &&
        std::ranges::equal(pictures, m_pictures, {}, &ListedPicture::name, &ListedPicture::name)) {
        m_pictures = std::move(pictures);
        FindReasons();
        emit dataChanged(index(0), index(rowCount() - 1));
        return false;
    }
    // A name can come to mean another picture once its first owner has left the list.
    for (auto thumbnail = m_thumbnails.begin(); thumbnail != m_thumbnails.end();) {
        const bool kept = std::ranges::any_of(
            pictures, [&](const ListedPicture& picture) { return picture.name == thumbnail.key(); });
        thumbnail = kept && !thumbnail->isNull() ? std::next(thumbnail) : m_thumbnails.erase(thumbnail);
    }
    beginResetModel();
    m_pictures = std::move(pictures);
    FindReasons();
    endResetModel();
    return true;
}

void PictureListModel::SetWaitingText(const QString& text) {
    m_waitingText = text;
    FindReasons();
    if (!m_pictures.isEmpty())
        emit dataChanged(index(0), index(rowCount() - 1));
}

int PictureListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_pictures.size());
}

Qt::ItemFlags PictureListModel::flags(const QModelIndex& index) const {
    return index.isValid() ? QAbstractListModel::flags(index) | Qt::ItemIsDragEnabled : Qt::ItemIsDropEnabled;
}

QVariant PictureListModel::data(const QModelIndex& index, int role) const {
    const ListedPicture& picture = m_pictures[index.row()];
    switch (role) {
        case Qt::DisplayRole:
        case Qt::AccessibleTextRole:
            return picture.name;
        case kRemarkRole:
        case Qt::AccessibleDescriptionRole:
            return Remark(picture);
        case Qt::ToolTipRole:
            return picture.origin;
        case Qt::DecorationRole:
            if (!m_thumbnails.contains(picture.name))
                MakeThumbnail(picture);
            return m_thumbnails.value(picture.name);
        default:
            return {};
    }
}

// The second line.
QString PictureListModel::Remark(const ListedPicture& picture) const {
    QStringList parts;
    if (!picture.inFrame)
        parts += m_waitingText;
    else if (!picture.whyNoBitmap.empty())
        parts += m_reasons.value(picture.name);
    if (!picture.origin.isEmpty())
        parts += picture.origin.section(u'/', -1);
    return parts.join(QStringLiteral(" · "));
}

void PictureListModel::MakeThumbnail(const ListedPicture& picture) const {
    QPixmap empty(m_thumbnailSize);  // keeps the names in their places until the picture is there
    empty.fill(Qt::transparent);
    m_thumbnails.insert(picture.name, QIcon(empty));
    auto* self = const_cast<PictureListModel*>(this);
    m_reader.Start([self, name = picture.name, file = picture.bitmap, size = m_thumbnailSize] {
        const QImage image = ReadBitmap(file, size);
        self->m_calls.Post([self, name, image] { self->TakeThumbnail(name, image); });
    });
}

void PictureListModel::TakeThumbnail(const QString& name, const QImage& image) {
    if (image.isNull() || !m_thumbnails.contains(name))
        return;
    QImage framed(m_thumbnailSize, QImage::Format_ARGB32_Premultiplied);
    framed.fill(Qt::transparent);
    QPainter painter(&framed);
    painter.drawImage((framed.width() - image.width()) / 2, (framed.height() - image.height()) / 2, image);
    painter.end();
    m_thumbnails.insert(name, QIcon(QPixmap::fromImage(framed)));
    for (int row = 0; row < rowCount(); ++row) {
        if (m_pictures[row].name == name)
            emit dataChanged(index(row), index(row), {Qt::DecorationRole});
    }
}

PictureList::PictureList(QWidget* parent) : QListView(parent), m_model(new PictureListModel(this)) {
    SizeThumbnails();
    setModel(m_model);
    setItemDelegate(new PictureDelegate(this));
    setUniformItemSizes(true);
    setAlternatingRowColors(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setTextElideMode(Qt::ElideMiddle);
    setAcceptDrops(true);
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setDropIndicatorShown(true);
}

void PictureList::SizeThumbnails() {
    const int height = static_cast<int>(fontMetrics().height() * kThumbnailLines);
    const QSize size(height * 16 / 9, height);
    setIconSize(size);
    m_model->SetThumbnailSize((QSizeF(size) * devicePixelRatioF()).toSize());
}

void PictureList::ShowPictures(QList<ListedPicture> pictures, int selected) {
    if (m_model->SetPictures(std::move(pictures)))
        scrollToBottom();
    if (selected > 0 && selected <= m_model->rowCount()) {
        const QModelIndex index = m_model->index(selected - 1);
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        scrollTo(index);
    }
}

void PictureList::SetHint(const QString& hint) {
    m_hint = hint;
    viewport()->update();
}

void PictureList::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
    QListView::selectionChanged(selected, deselected);
    if (!selected.isEmpty())
        emit ItemSelected(selected.indexes().front().row() + 1);
}

void PictureList::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    if (m_model->rowCount() > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(QuietColor(palette()));
    const int margin = fontMetrics().height();
    painter.drawText(viewport()->rect().adjusted(margin, margin, -margin, -margin),
                     Qt::AlignCenter | Qt::TextWordWrap, m_hint);
}

void PictureList::changeEvent(QEvent* event) {
    QListView::changeEvent(event);
    if (event->type() == QEvent::FontChange && m_model != nullptr)
        SizeThumbnails();
}

void PictureList::dragEnterEvent(QDragEnterEvent* event) {
    TakeDrag(event);
}

void PictureList::dragMoveEvent(QDragMoveEvent* event) {
    QListView::dragMoveEvent(event);  // scrolls near the edges
    TakeDrag(event);
}

// Files from elsewhere are added; an item of this list moves.
void PictureList::TakeDrag(QDragMoveEvent* event) {
    const bool wanted = event->source() == this || event->mimeData()->hasUrls();
    event->setAccepted(wanted && isEnabled() && MainThreadOwns());
    if (!event->isAccepted())
        return;
    if (event->source() == this)
        event->setDropAction(Qt::MoveAction);
    else
        TakeCopies(event);
}

void PictureList::dropEvent(QDropEvent* event) {
    if (event->source() == this) {
        event->acceptProposedAction();
        MoveDragged(*event);
    } else {
        TakeCopies(event);
        emit FilesDropped(PathsOf(event->mimeData()->urls()));
    }
}

// Into the gap that is nearest.
void PictureList::MoveDragged(const QDropEvent& event) {
    const QModelIndex under = indexAt(event.position().toPoint());
    const int row = currentIndex().row();
    int gap = m_model->rowCount();
    if (under.isValid())
        gap = under.row() + (event.position().y() > visualRect(under).center().y() ? 1 : 0);
    const int to = gap > row ? gap - 1 : gap;
    if (row >= 0 && to != row)
        emit ItemMoved(row + 1, to + 1);
}

}  // namespace lumato::app
