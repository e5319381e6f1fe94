#include "app/parts/detail_label.h"

#include <QPainter>
#include <QStyle>

#include "app/parts/texts.h"

namespace lumato::app {

DetailLabel::DetailLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
}

void DetailLabel::SetDetail(const QString& text) {
    setText(text);
    setToolTip(text);
    setAccessibleName(text);
}

void DetailLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(QuietColor(palette()));
    const QString cut = fontMetrics().elidedText(text(), Qt::ElideRight, width());
    painter.drawText(
        rect(),
        static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment())) | Qt::TextSingleLine, cut);
}

}  // namespace lumato::app
