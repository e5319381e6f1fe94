// Draws an item of a folder: its icon and its name, or a tile with its thumbnail; and the mark of those that
// are on the frame.
//
// Main thread only.
#pragma once

#include <QStyledItemDelegate>

namespace lumato::app {

class ThumbnailDelegate : public QStyledItemDelegate {
    Q_OBJECT

  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    static constexpr int kMargin = 4;

    // The size of the tiles; an empty one: lines.
    void SetTile(QSize tile) { m_tile = tile; }
    [[nodiscard]] QSize Tile() const { return m_tile; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  private:
    // Returns where the picture is.
    QRect DrawTile(QPainter* painter, const QStyleOptionViewItem& item, const QModelIndex& index) const;

    QSize m_tile;
};

}  // namespace lumato::app
