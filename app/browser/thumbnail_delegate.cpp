#include "app/browser/thumbnail_delegate.h"

#include <QApplication>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>

#include "app/browser/folder_model.h"

namespace lumato::app {
namespace {

// A round one with a tick, which can be seen on every picture.
void DrawMark(QPainter* painter, const QPalette& palette, const QRect& where) {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRectF circle = QRectF(where).adjusted(1, 1, -1, -1);
    painter->setPen(QPen(palette.color(QPalette::HighlightedText), 1.5));
    painter->setBrush(palette.color(QPalette::Active, QPalette::Highlight));
    painter->drawEllipse(circle);
    const QPointF at = circle.topLeft();
    const double side = circle.width();
    const QPointF tick[] = {at + QPointF(0.27, 0.52) * side, at + QPointF(0.44, 0.69) * side,
                            at + QPointF(0.74, 0.34) * side};
    painter->setPen(
        QPen(palette.color(QPalette::HighlightedText), 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->drawPolyline(tick, 3);
    painter->restore();
}

constexpr QChar kMayBreak(0x200B);

// Over two lines where one is too short; what the second cannot hold either is cut in the middle, for the
// ends tell most.
void DrawName(QPainter* painter, QRect room, QString name) {
    const QFontMetrics metrics = painter->fontMetrics();
    qsizetype length = name.size();
    if (metrics.horizontalAdvance(name) > room.width()) {
        if (const qsizetype dot = name.lastIndexOf(u'.'); dot > 0)
            name.insert(dot, kMayBreak);
        QTextLayout layout(name, painter->font());
        QTextOption wrapped;
        wrapped.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(wrapped);
        layout.beginLayout();
        QTextLine first = layout.createLine();
        first.setLineWidth(room.width());
        length = first.textLength();
        layout.endLayout();
    }
    painter->drawText(room, Qt::AlignHCenter | Qt::AlignTop, name.first(length).trimmed());
    room.setTop(room.top() + metrics.height());
    painter->drawText(room, Qt::AlignHCenter | Qt::AlignTop,
                      metrics.elidedText(name.sliced(length), Qt::ElideMiddle, room.width()));
}

QPalette::ColorGroup GroupOf(const QStyleOptionViewItem& item) {
    if ((item.state & QStyle::State_Enabled) == 0)
        return QPalette::Disabled;
    return (item.state & QStyle::State_Active) == 0 ? QPalette::Inactive : QPalette::Active;
}

}  // namespace

void ThumbnailDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    const int line = option.fontMetrics.height();
    QRect picture;
    if (m_tile.isEmpty()) {
        QStyledItemDelegate::paint(painter, option, index);
        picture = QStyle::alignedRect(option.direction, Qt::AlignRight | Qt::AlignVCenter, {line, line},
                                      option.rect.adjusted(kMargin, 0, -kMargin, 0));
    } else {
        QStyleOptionViewItem item(option);  // not the icon, which most do without
        item.index = index;
        item.text = index.data(Qt::DisplayRole).toString();
        picture = DrawTile(painter, item, index);
    }
    if (index.data(kOnFrameRole).toBool())
        DrawMark(
            painter, option.palette,
            QStyle::alignedRect(option.direction, Qt::AlignRight | Qt::AlignBottom, {line, line}, picture));
}

QRect ThumbnailDelegate::DrawTile(QPainter* painter, const QStyleOptionViewItem& item,
                                  const QModelIndex& index) const {
    const QStyle* style = item.widget != nullptr ? item.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &item, painter, item.widget);
    const QRect box(item.rect.topLeft() + QPoint(kMargin, kMargin), PictureBox());

    const auto pixmap = index.data(kThumbnailRole).value<QPixmap>();
    QRect where = QStyle::alignedRect(item.direction, Qt::AlignCenter, {kIconSide, kIconSide}, box);
    painter->save();
    if (pixmap.isNull()) {
        const auto mode = (item.state & QStyle::State_Enabled) != 0 ? QIcon::Normal : QIcon::Disabled;
        index.data(Qt::DecorationRole).value<QIcon>().paint(painter, where, Qt::AlignCenter, mode);
    } else {
        // Never larger than it is: what is small is seen to be.
        const double ratio = item.widget != nullptr ? item.widget->devicePixelRatioF() : 1;
        const QSizeF own = QSizeF(pixmap.size()) / ratio;
        const double scale = std::min({1.0, box.width() / own.width(), box.height() / own.height()});
        where = QStyle::alignedRect(item.direction, Qt::AlignCenter,
                                    (own * scale).toSize().expandedTo({1, 1}), box);
        // Made for this box, but for the moment after the box has changed.
        painter->setRenderHint(QPainter::SmoothPixmapTransform, scale < 1);
        painter->drawPixmap(where, pixmap);
    }
    const bool selected = (item.state & QStyle::State_Selected) != 0;
    painter->setFont(item.font);
    painter->setPen(item.palette.color(GroupOf(item), selected ? QPalette::HighlightedText : QPalette::Text));
    DrawName(painter, QRect(box.left(), box.bottom() + kMargin, box.width(), m_words), item.text);
    painter->restore();
    if ((item.state & QStyle::State_HasFocus) != 0) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(item);
        focus.backgroundColor = item.palette.color(selected ? QPalette::Highlight : QPalette::Base);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, item.widget);
    }
    return where;
}

QSize ThumbnailDelegate::PictureBox() const {
    return m_tile - QSize(2 * kMargin, 3 * kMargin + m_words);
}

QSize ThumbnailDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    return m_tile.isEmpty() ? QStyledItemDelegate::sizeHint(option, index) : m_tile;
}

}  // namespace lumato::app
