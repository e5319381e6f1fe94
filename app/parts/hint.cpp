#include "app/parts/hint.h"

#include <QPainter>

#include "app/parts/texts.h"

namespace lumato::app {

void DrawHint(QListView& view, const QString& hint, Qt::Alignment place) {
    if (view.model()->rowCount() > 0 || hint.isEmpty())
        return;
    QPainter painter(view.viewport());
    painter.setPen(QuietColor(view.palette()));
    const int margin = view.fontMetrics().height();
    painter.drawText(view.viewport()->rect().adjusted(margin, margin, -margin, -margin),
                     static_cast<int>(place) | Qt::TextWordWrap, hint);
}

}  // namespace lumato::app
