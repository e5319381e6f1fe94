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
    static constexpr int kIconSide = 56;  // of what has no thumbnail

    // The size of the tiles, and the height of the name in it; an empty one: lines.
    void SetTile(QSize tile, int words) {
        m_tile = tile;
        m_words = words;
    }
    // Of a tile, what its picture may fill.
    [[nodiscard]] QSize PictureBox() const;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  private:
    // Returns where the picture is.
    QRect DrawTile(QPainter* painter, const QStyleOptionViewItem& item, const QModelIndex& index) const;

    QSize m_tile;
    int m_words = 0;
};

}  // namespace lumato::app
