#include "app/browser/browser_icons.h"

#include <QPainter>

namespace lumato::app {
namespace {

constexpr int kButtonIconSide = 16;

template <class Paint>
QIcon DrawnIcon(const QWidget& window, Paint paint) {
    QIcon icon;
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Disabled}) {
        QPixmap pixmap(QSize(kButtonIconSide, kButtonIconSide) * window.devicePixelRatioF());
        pixmap.setDevicePixelRatio(window.devicePixelRatioF());
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        paint(painter, window.palette().color(group, QPalette::WindowText));
        icon.addPixmap(pixmap, group == QPalette::Active ? QIcon::Normal : QIcon::Disabled);
    }
    return icon;
}

}  // namespace

QIcon UpIcon(const QWidget& window) {
    return DrawnIcon(window, [](QPainter& painter, const QColor& color) {
        painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawLine(8, 13, 8, 3);
        painter.drawPolyline(QPolygon({{4, 7}, {8, 3}, {12, 7}}));
    });
}

QIcon TilesIcon(const QWidget& window) {
    return DrawnIcon(window, [](QPainter& painter, const QColor& color) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        for (const QPoint at : {QPoint(2, 2), QPoint(9, 2), QPoint(2, 9), QPoint(9, 9)})
            painter.drawRoundedRect(QRect(at, QSize(5, 5)), 1, 1);
    });
}

}  // namespace lumato::app
