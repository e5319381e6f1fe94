// Draws an item of the frame picture list: the thumbnail, the name, and below it in a quieter colour what is
// to be said of the picture.
//
// Main thread only.
#pragma once

#include <QStyledItemDelegate>

namespace lumato::app {

// What is said of a picture below its name; a text, empty where there is nothing to say.
inline constexpr int kRemarkRole = Qt::UserRole;

class PictureDelegate : public QStyledItemDelegate {
    Q_OBJECT

  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
};

}  // namespace lumato::app
