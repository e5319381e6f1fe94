#include "app/list/preview.h"

#include <QPainter>

#include "app/parts/screen_image.h"
#include "app/parts/texts.h"

namespace lumato::app {

Preview::Preview(QWidget* parent) : QFrame(parent) {
    setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
}

Preview::~Preview() {
    m_reader.Wait();
}

void Preview::ShowFile(const Path& file, const QString& name) {
    const int request = ++m_request;
    setAccessibleDescription(name);
    m_reader.Start([this, file, request] {
        const QImage picture = ReadBitmap(file);
        m_calls.Post([this, picture, request] {
            if (request != m_request)
                return;
            m_picture = picture;
            update();
        });
    });
}

void Preview::Clear() {
    ++m_request;
    m_picture = QImage();
    setAccessibleDescription({});
    update();
}

void Preview::SetHint(const QString& hint) {
    m_hint = hint;
    update();
}

QSize Preview::sizeHint() const {
    return {fontMetrics().averageCharWidth() * 40, fontMetrics().height() * 10};
}

void Preview::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(contentsRect(), palette().color(QPalette::Base));
    if (!m_picture.isNull()) {
        MyPreviewEventHandler(painter);
    } else {
        painter.setPen(QuietColor(palette()));
        painter.drawText(contentsRect(), Qt::AlignCenter | Qt::TextWordWrap, m_hint);
    }
    painter.end();
    QFrame::paintEvent(event);
}

// As large as fits, at the LCD's aspect ratio, which the bitmap has.
void Preview::MyPreviewEventHandler(QPainter& painter) {
    const double ratio = devicePixelRatioF();
    const QRect bounds = contentsRect();
    const QSize room = (QSizeF(bounds.size()) * ratio).toSize();
    const QImage drawn = m_picture.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    const QPoint corner((room.width() - drawn.width()) / 2, (room.height() - drawn.height()) / 2);
    painter.drawImage(QRectF(bounds.topLeft() + QPointF(corner) / ratio, QSizeF(drawn.size()) / ratio),
                      drawn);
}

}  // namespace lumato::app
