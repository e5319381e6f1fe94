#include "app/list/picture_list.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <algorithm>
#include <array>
#include <utility>

#include "app/list/picture_delegate.h"
#include "app/parts/app_state.h"
#include "app/parts/file_urls.h"
#include "app/parts/hint.h"

namespace lumato::app {
namespace {

constexpr double kThumbnailLines = 2.8;  // its height, in lines of text: the two beside it and some air

// Keeps a view's first visible row where it is while rows come and go above it.
class Anchor {
  public:
    explicit Anchor(QListView& view) : m_view(view), m_top(view.indexAt(QPoint(1, 1)).row()) {
        const QAbstractItemModel* model = view.model();
        m_connections = {
            QObject::connect(model, &QAbstractItemModel::rowsRemoved,
                             [this](const QModelIndex&, int first, int last) {
                                 m_top -= std::max(std::min(last + 1, m_top) - first, 0);
                             }),
            QObject::connect(model, &QAbstractItemModel::rowsInserted,
                             [this](const QModelIndex&, int first, int last) {
                                 m_top += first < m_top ? last - first + 1 : 0;
                             }),
            QObject::connect(model, &QAbstractItemModel::layoutChanged, [this] { m_moved = true; })};
    }
    ~Anchor() {
        for (const QMetaObject::Connection& connection : m_connections)
            QObject::disconnect(connection);
    }
    Anchor(const Anchor&) = delete;
    Anchor& operator=(const Anchor&) = delete;

    // Rows changed their order.
    [[nodiscard]] bool Moved() const { return m_moved; }
    void Restore() {
        if (m_top >= 0)
            m_view.scrollTo(m_view.model()->index(m_top, 0), QAbstractItemView::PositionAtTop);
    }

  private:
    QListView& m_view;
    int m_top;
    bool m_moved = false;
    std::array<QMetaObject::Connection, 3> m_connections;
};

// Whether pictures were added to the end, not read from the frame.
bool HasGrown(const QList<ListedPicture>& before, const QList<ListedPicture>& after) {
    return after.size() > before.size() && !after.last().inFrame &&
           (before.isEmpty() || before.last().Key() != after.last().Key());
}

}  // namespace

PictureList::PictureList(QWidget* parent) : QListView(parent), m_model(new PictureListModel(this)) {
    SizeThumbnails();
    setModel(m_model);
    setItemDelegate(new PictureDelegate(this));
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setAlternatingRowColors(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setTextElideMode(Qt::ElideMiddle);
    setAcceptDrops(true);
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setDropIndicatorShown(true);
    // One that is selected already is looked at once more.
    connect(this, &QAbstractItemView::clicked, this, [this] {
        m_told.clear();
        TellCurrent();
    });
}

void PictureList::SizeThumbnails() {
    const int height = static_cast<int>(fontMetrics().height() * kThumbnailLines);
    const QSize size(height * 16 / 9, height);
    setIconSize(size);
    m_model->SetThumbnailSize((QSizeF(size) * devicePixelRatioF()).toSize());
}

void PictureList::ShowPictures(QList<ListedPicture> pictures, int selected) {
    const bool grown = HasGrown(m_model->Pictures(), pictures);
    const QByteArray told = m_told;
    Anchor anchor(*this);
    m_changing = true;
    m_model->SetPictures(std::move(pictures));
    Select(selected);
    m_changing = false;
    TellCurrent();
    if (grown)
        scrollToBottom();
    else
        anchor.Restore();
    if (!grown && !m_told.isEmpty() && (m_told != told || anchor.Moved()))
        scrollTo(currentIndex());
}

void PictureList::Select(int item) {
    if (item < 1 || item > m_model->rowCount()) {
        clearSelection();
        setCurrentIndex({});
        return;
    }
    const QModelIndex index = m_model->index(item - 1);
    if (selectionModel()->isSelected(index))
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    else
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
}

std::vector<int> PictureList::Selected() const {
    std::vector<int> positions;
    for (const QModelIndex& index : selectionModel()->selectedRows())
        positions.push_back(index.row() + 1);
    std::ranges::sort(positions);
    return positions;
}

void PictureList::SetHint(const QString& hint) {
    m_hint = hint;
    viewport()->update();
}

void PictureList::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
    QListView::selectionChanged(selected, deselected);
    TellCurrent();
}

void PictureList::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    TellCurrent();
}

int PictureList::CurrentItem() const {
    if (selectionModel()->isSelected(currentIndex()))
        return currentIndex().row() + 1;
    const QModelIndexList selected = selectionModel()->selectedRows();
    return selected.isEmpty() ? 0 : selected.last().row() + 1;
}

void PictureList::TellCurrent() {
    if (m_changing)
        return;
    const int item = CurrentItem();
    const QByteArray key = item == 0 ? QByteArray() : m_model->Pictures()[item - 1].Key();
    if (std::exchange(m_told, key) != key)
        emit ItemSelected(item);
}

void PictureList::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    DrawHint(*this, m_hint, Qt::AlignCenter);
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

// Files from elsewhere are added; items of this list move.
void PictureList::TakeDrag(QDragMoveEvent* event) {
    const bool own = event->source() == this;
    const bool wanted = own ? MainThreadOwns() || App().state == WindowState::Changing
                            : MainThreadOwns() && event->mimeData()->hasUrls();
    event->setAccepted(wanted && isEnabled());
    if (!event->isAccepted())
        return;
    if (own)
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
    int gap = m_model->rowCount();
    if (under.isValid())
        gap = under.row() + (event.position().y() > visualRect(under).center().y() ? 1 : 0);
    emit ItemsMoved(Selected(), gap + 1);
}

}  // namespace lumato::app
