#include "app/edit_view.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QWheelEvent>
#include <cmath>

#include "app/app_state.h"
#include "app/canvas.h"
#include "picture/picture_state.h"

namespace lumato::app {
namespace {

constexpr int kWheelNotch = 120;  // an eighth of a degree each, 15 degrees a notch

}  // namespace

EditView::EditView(QWidget* parent) : QWidget(parent) {
    setAcceptDrops(true);
    m_redraw.setSingleShot(true);
    m_redraw.setInterval(0);
    connect(&m_redraw, &QTimer::timeout, this, [this] {
        MyDrawEventHandler();
        update();
    });
}

void EditView::Redraw() {
    if (MainThreadOwns())
        m_redraw.start();
}

QSize EditView::sizeHint() const {
    return {static_cast<int>(picture::kCanvasWidth), static_cast<int>(picture::kCanvasHeight)};
}

QSize EditView::minimumSizeHint() const {
    return sizeHint() / 2;
}

// Draws into an image of the view's own, not while painting: a turned picture on a dense screen takes longer
// than a painting should, and paintings are many.
void EditView::MyDrawEventHandler() {
    if (!MainThreadOwns())
        return;
    const picture::MyImage* image = picture::Pictures().gmyCGimage.get();
    m_shown = image != nullptr;
    emit PictureShown(m_shown);
    if (!m_shown) {
        m_drawn = QImage();
        return;
    }
    const Canvas canvas{QSizeF(size())};
    const double ratio = devicePixelRatioF();
    const QSize pixels = (canvas.area.size() * ratio).toSize();
    if (pixels.isEmpty())
        return;
    QImage drawn(pixels, QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    const picture::Surface surface{.pixels = drawn.bits(),
                                   .width = drawn.width(),
                                   .height = drawn.height(),
                                   .bytesPerRow = static_cast<std::size_t>(drawn.bytesPerLine()),
                                   .order = picture::PixelOrder::BlueFirst,
                                   .pixelsPerCanvasPixel = canvas.scale * ratio};
    picture::DrawMyImage(surface, 0, 0, picture::kCanvasWidth, picture::kCanvasHeight, image, true);
    m_drawn = std::move(drawn);
}

void EditView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF area = Canvas{QSizeF(size())}.area;
    painter.fillRect(area, palette().color(QPalette::Base));
    if (!m_shown)
        return;
    // Pixel for pixel where the image has the screen's size; scaled only until the view is drawn anew.
    const QSize screen = (area.size() * devicePixelRatioF()).toSize();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, screen != m_drawn.size());
    const QRectF target(QPointF(std::round(area.x() * devicePixelRatioF()) / devicePixelRatioF(),
                                std::round(area.y() * devicePixelRatioF()) / devicePixelRatioF()),
                        QSizeF(screen) / devicePixelRatioF());
    painter.drawImage(target, m_drawn);
}

void EditView::resizeEvent(QResizeEvent*) {
    Redraw();
}

void EditView::wheelEvent(QWheelEvent* event) {
    m_wheelAngle += event->angleDelta().y();
    const int notches = m_wheelAngle / kWheelNotch;
    m_wheelAngle -= notches * kWheelNotch;
    if (notches != 0)
        emit WheelTurned(notches);
    event->accept();
}

void EditView::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls() && isEnabled() && MainThreadOwns())
        event->acceptProposedAction();
}

void EditView::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    emit FilesDropped(event->mimeData()->urls());
}

}  // namespace lumato::app
