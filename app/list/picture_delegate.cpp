#include "app/list/picture_delegate.h"

#include <QApplication>
#include <QPainter>

#include "app/parts/texts.h"

namespace lumato::app {
namespace {

void DrawLine(QPainter& painter, const QStyleOptionViewItem& item, const QRect& where, const QString& text,
              Qt::Alignment side = Qt::AlignLeft, Qt::TextElideMode elided = Qt::ElideMiddle) {
    painter.drawText(where,
                     static_cast<int>(Qt::AlignVCenter | QStyle::visualAlignment(item.direction, side)),
                     item.fontMetrics.elidedText(text, elided, where.width()));
}

}  // namespace

void PictureDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    QStyleOptionViewItem item(option);
    initStyleOption(&item, index);
    const QStyle* style = item.widget != nullptr ? item.widget->style() : QApplication::style();
    const QRect text = style->subElementRect(QStyle::SE_ItemViewItemText, &item, item.widget);
    const QString name = item.text;
    item.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);

    const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, &item, item.widget) + 1;
    const bool selected = (item.state & QStyle::State_Selected) != 0;
    const QPalette::ColorGroup group = (item.state & QStyle::State_Enabled) == 0  ? QPalette::Disabled
                                       : (item.state & QStyle::State_Active) == 0 ? QPalette::Inactive
                                                                                  : QPalette::Active;
    const QColor color = item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
    const QString remark = index.data(kRemarkRole).toString();
    const int line = item.fontMetrics.height();
    const QRect where(text.x() + margin, item.rect.center().y() - (remark.isEmpty() ? line / 2 : line),
                      text.width() - 2 * margin, line);
    const QString size = index.data(kSizeRole).toString();
    const int taken = size.isEmpty() ? 0 : item.fontMetrics.horizontalAdvance(size) + 4 * margin;
    QColor quiet = color;
    quiet.setAlphaF(kQuietness);
    painter->save();
    painter->setFont(item.font);
    painter->setPen(color);
    DrawLine(*painter, item, QStyle::visualRect(item.direction, where, where.adjusted(0, 0, -taken, 0)),
             name);
    painter->setPen(quiet);
    DrawLine(*painter, item, where, size, Qt::AlignRight);
    DrawLine(*painter, item, where.translated(0, line), remark, Qt::AlignLeft, Qt::ElideRight);
    painter->restore();
}

}  // namespace lumato::app
