#include "app/edit_view.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QWheelEvent>
#include <cmath>
#include <utility>

#include "app/app_state.h"
#include "app/canvas.h"
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

EditView::~EditView() {
    m_finisher.Clear();
    m_finisher.Wait();
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
    ++m_request;
    if (m_shown) {
        Draw(*image);
    } else {
        m_drawn = QImage();
        m_copy.reset();
        m_draft.reset();
    }
    emit PictureShown(m_shown);
}

// The whole view shows the picture, beyond the canvas too: the rectangle can be moved there, and what it then
// holds goes to the frame. The canvas is in the view's middle, and so is the picture without an offset.
QImage EditView::Exact(QSize pixels, double scale, const picture::MyImage& image) {
    QImage drawn(pixels, QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    const picture::Surface surface{.pixels = drawn.bits(),
                                   .width = drawn.width(),
                                   .height = drawn.height(),
                                   .bytesPerRow = static_cast<std::size_t>(drawn.bytesPerLine()),
                                   .order = picture::PixelOrder::BlueFirst,
                                   .pixelsPerCanvasPixel = scale};
    picture::DrawMyImage(surface, 0, 0, static_cast<float>(drawn.width() / scale),
                         static_cast<float>(drawn.height() / scale), &image, true);
    return drawn;
}

// A new pose is a draft at first: the composer takes longer than a held arrow waits for.
void EditView::Draw(const picture::MyImage& image) {
    const QSize pixels = ScreenSize();
    if (pixels.isEmpty())
        return;
    TakeCopy(image);
    const double scale = Canvas{QSizeF(size())}.scale * devicePixelRatioF();
    if (m_draft == nullptr) {
        m_drawn = Exact(pixels, scale, image);
        return;
    }
    QImage drawn(pixels, QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    m_draft->Draw(drawn, image, scale);
    m_drawn = std::move(drawn);
    Finish(pixels, scale, image);
}

// The worker draws from a copy: the picture can go at any time.
void EditView::TakeCopy(const picture::MyImage& image) {
    const std::uint64_t serial = picture::Pictures().editPictures;
    if (m_copy != nullptr && m_serial == serial)
        return;
    m_serial = serial;
    m_copy = std::make_shared<const picture::BitmapInfo>(*image.image);
    m_draft.reset();
    m_finisher.Clear();
    m_finisher.Start([this, serial, copy = m_copy] {
        auto draft = std::make_shared<const DraftPicture>(*copy);
        m_calls.Post([this, serial, draft = std::move(draft)] {
            if (m_copy != nullptr && serial == m_serial)
                m_draft = draft;
        });
    });
}

void EditView::Finish(QSize pixels, double scale, picture::MyImage image) {
    m_finisher.Clear();  // of a pose that is no more
    m_finisher.Start([this, request = m_request, pixels, scale, image, copy = m_copy]() mutable {
        image.image = copy.get();
        m_calls.Post([this, request, drawn = Exact(pixels, scale, image)] {
            if (request != m_request)
                return;
            m_drawn = drawn;
            update();
        });
    });
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
        event->acceptProposedAction();
}

void EditView::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    emit FilesDropped(event->mimeData()->urls());
}

}  // namespace lumato::app
