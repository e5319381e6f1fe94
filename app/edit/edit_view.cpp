#include "app/edit/edit_view.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QWheelEvent>
#include <cmath>
#include <utility>

#include "app/edit/canvas.h"
#include "app/parts/app_state.h"
#include "app/parts/file_urls.h"
#include "picture/picture_state.h"

namespace lumato::app {
namespace {

constexpr int kWheelNotch = 120;  // an eighth of a degree each, 15 degrees a notch

}  // namespace

EditView::EditView(QWidget* parent) : QWidget(parent) {
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

// Draws into an image of the view's own, not while painting: paintings are many.
void EditView::MyDrawEventHandler() {
    if (!MainThreadOwns())
        return;
    const picture::MyImage* image = picture::Pictures().gmyCGimage.get();
    m_shown = image != nullptr;
    if (m_shown)
        Draw(*image);
    else
        m_drawn = QImage();
    emit PictureShown(m_shown);
}

// The whole view shows the picture, beyond the canvas too: the rectangle can be moved there, and what it then
// holds goes to the frame. The canvas is in the view's middle, and so is the picture without an offset.
void EditView::Draw(const picture::MyImage& image) {
    const QSize pixels = ScreenSize();
    if (pixels.isEmpty())
        return;
    QImage drawn(pixels, QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    const double scale = Canvas{QSizeF(size())}.scale * devicePixelRatioF();
    const picture::Surface surface{.pixels = drawn.bits(),
                                   .width = drawn.width(),
                                   .height = drawn.height(),
                                   .bytesPerRow = static_cast<std::size_t>(drawn.bytesPerLine()),
                                   .order = picture::PixelOrder::BlueFirst,
                                   .pixelsPerCanvasPixel = scale};
    picture::DrawMyImage(surface, 0, 0, static_cast<float>(drawn.width() / scale),
                         static_cast<float>(drawn.height() / scale), &image, true);
    m_drawn = std::move(drawn);
}

// Black, as the frame shows what a picture leaves uncovered.
void EditView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (!m_shown)
        return;
    // Pixel for pixel where the image has the screen's size; scaled only until the view is drawn anew.
    const QSize screen = ScreenSize();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, screen != m_drawn.size());
    painter.drawImage(QRectF(QPointF(0, 0), QSizeF(screen) / devicePixelRatioF()), m_drawn);
}

QSize EditView::ScreenSize() const {
    return (QSizeF(size()) * devicePixelRatioF()).toSize();
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
    if (event->mimeData()->hasUrls() && acceptDrops() && MainThreadOwns())
        TakeCopies(event);
}

void EditView::dropEvent(QDropEvent* event) {
    TakeCopies(event);
    emit FilesDropped(PathsOf(event->mimeData()->urls()));
}

}  // namespace lumato::app
