#include "app/detail_label.h"

#include <QPainter>

#include "app/texts.h"

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
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, cut);
}

}  // namespace lumato::app
