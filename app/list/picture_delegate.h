// Draws an item of the frame picture list: the thumbnail, the name, beside it what the picture takes, and
// below it what is to be said of it, in a quieter colour.
//
// Main thread only.
#pragma once

#include <QStyledItemDelegate>

namespace lumato::app {

// What is said of a picture below its name; a text, empty where there is nothing to say.
inline constexpr int kRemarkRole = Qt::UserRole;
// What it takes of the frame; likewise.
inline constexpr int kSizeRole = Qt::UserRole + 1;

class PictureDelegate : public QStyledItemDelegate {
    Q_OBJECT

  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
};

}  // namespace lumato::app
