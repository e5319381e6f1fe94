#include "app/browser/folder_column.h"

#include <QKeyEvent>
#include <QScrollBar>
#include <algorithm>
#include <cmath>
#include <utility>

#include "app/browser/folder_watch.h"
#include "app/browser/thumbnail_delegate.h"
#include "app/parts/hint.h"

namespace lumato::app {
namespace {

constexpr int kColumnLetters = 24;
constexpr int kLeastTile = 76;
constexpr int kGoodTile = 104;
constexpr int kMostThumbnail = 160;
constexpr int kTileGap = 6;  // where the mouse can begin to select several

}  // namespace

FolderColumn::FolderColumn(BrowserItems& shown, ItemID folder, QWidget* parent)
    : QListView(parent),
      watch(kNoWatch),
      m_folder(folder),
      m_model(new FolderModel(shown, this)),
      m_delegate(new ThumbnailDelegate(this)) {
    setModel(m_model);
    setItemDelegate(m_delegate);
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTextElideMode(Qt::ElideMiddle);
    setDragEnabled(true);
    setFrameShape(QFrame::NoFrame);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &FolderColumn::ViewChanged);
    connect(m_model, &QAbstractItemModel::modelReset, this, &FolderColumn::ViewChanged);
    connect(this, &QAbstractItemView::activated, this, [this](const QModelIndex& index) {
        if (m_isGrid)
            emit FolderChosen(m_model->IdAt(index));
    });
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

void FolderColumn::ChangeItems(std::vector<ItemID> ids) {
    const std::vector<ItemID> selected = Selected();
    const ItemID current = m_model->IdAt(currentIndex());
    const bool mirrored = layoutDirection() == Qt::RightToLeft;
    const ItemID top =
        m_model->IdAt(indexAt({mirrored ? viewport()->width() - kTileGap : kTileGap, kTileGap}));
    const int offset = visualRect(m_model->IndexOf(top)).top();

    m_model->SetItems(std::move(ids));
    QItemSelection selection;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const QModelIndex index = m_model->index(row);
        if (!std::ranges::binary_search(selected, m_model->IdAt(index)))
            continue;
        if (!selection.isEmpty() && selection.last().bottom() == row - 1)
            selection.last() = QItemSelectionRange(selection.last().topLeft(), index);
        else
            selection.append(QItemSelectionRange(index));
    }
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (const QModelIndex index = m_model->IndexOf(current); index.isValid())
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    if (const QModelIndex index = m_model->IndexOf(top); index.isValid()) {
        scrollTo(index, QAbstractItemView::PositionAtTop);
        const int moved = visualRect(index).top() - offset;
        if (verticalScrollMode() == QAbstractItemView::ScrollPerPixel)
            verticalScrollBar()->setValue(verticalScrollBar()->value() + moved);
    }
}

void FolderColumn::ShowAsGrid(bool grid) {
    if (std::exchange(m_isGrid, grid) == grid)
        return;
    setFlow(grid ? QListView::LeftToRight : QListView::TopToBottom);
    setWrapping(grid);
    setResizeMode(grid ? QListView::Adjust : QListView::Fixed);
    setVerticalScrollMode(grid ? QAbstractItemView::ScrollPerPixel : QAbstractItemView::ScrollPerItem);
    setSelectionRectVisible(grid);
    SizeTiles();
    scrollTo(currentIndex());
}

// As many tiles of a good size side by side as there is room for, as wide as they can be then; two smaller
// ones rather than one. Room for the scroll bar is always left, or its coming would move the tiles.
void FolderColumn::SizeTiles() {
    if (!m_isGrid) {
        m_delegate->SetTile({}, 0);
        setGridSize({});
        return;
    }
    const int room = std::max(width() - verticalScrollBar()->sizeHint().width() - 2, kLeastTile);
    m_perRow = std::max({1, std::min(2, room / (kLeastTile + kTileGap)), room / (kGoodTile + kTileGap)});
    const int cell = room / m_perRow;
    const int side = std::min(cell - kTileGap - 2 * ThumbnailDelegate::kMargin, kMostThumbnail);
    const int words = 2 * fontMetrics().height();
    const QSize tile(cell - kTileGap, side * 3 / 4 + 3 * ThumbnailDelegate::kMargin + words);
    m_delegate->SetTile(tile, words);
    verticalScrollBar()->setSingleStep(tile.height() / 3);
    setGridSize({cell, tile.height() + kTileGap});
}

QSize FolderColumn::ThumbnailPixels() const {
    return (QSizeF(m_delegate->PictureBox()) * devicePixelRatioF()).toSize().expandedTo({1, 1});
}

std::vector<ItemID> FolderColumn::InView() const {
    const std::vector<ItemID>& ids = m_model->Ids();
    const int height = std::max(m_isGrid ? gridSize().height() : sizeHintForRow(0), 1);
    const int perRow = m_isGrid ? m_perRow : 1;
    const int scrolled = verticalScrollBar()->value() * (m_isGrid ? 1 : height);
    const auto first = static_cast<std::size_t>(scrolled / height * perRow);
    const auto end = static_cast<std::size_t>(((scrolled + viewport()->height()) / height + 1) * perRow);
    std::vector<ItemID> seen;
    const double middle = static_cast<double>(first + std::min(end, ids.size())) / 2;
    std::vector<std::size_t> rows;
    for (std::size_t row = first; row < std::min(end, ids.size()); ++row)
        rows.push_back(row);
    std::ranges::stable_sort(
        rows, {}, [middle](std::size_t row) { return std::abs(static_cast<double>(row) + 0.5 - middle); });
    for (const std::size_t row : rows)
        seen.push_back(ids[row]);
    return seen;
}

void FolderColumn::SetHint(const QString& hint) {
    m_hint = hint;
    viewport()->update();
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
    const int key = event->key();
    if (event->text() == QStringLiteral("/") || event->text() == QStringLiteral("~"))
        emit PathBegun(event->text());
    else if (key == Qt::Key_Backspace)
        emit LeaveTo(-1);
    else if (m_isGrid)
        QListView::keyPressEvent(event);
    else if (key == Qt::Key_Left || key == Qt::Key_Right)
        emit LeaveTo((key == Qt::Key_Left) == mirrored ? 1 : -1);
    else if (key == Qt::Key_Return || key == Qt::Key_Enter)
        emit LeaveTo(1);
    else
        QListView::keyPressEvent(event);
}

void FolderColumn::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    DrawHint(*this, m_hint, Qt::AlignHCenter | Qt::AlignTop);
}

void FolderColumn::resizeEvent(QResizeEvent* event) {
    SizeTiles();
    QListView::resizeEvent(event);
    emit ViewChanged();
}

void FolderColumn::showEvent(QShowEvent* event) {
    QListView::showEvent(event);
    emit ViewChanged();
}

}  // namespace lumato::app
