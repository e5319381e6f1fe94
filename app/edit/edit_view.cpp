#include "app/edit/edit_view.h"

#include <QDragEnterEvent>
#include <QElapsedTimer>
#include <QMimeData>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/file_urls.h"
#include "picture/draw_my_image.h"
#include "picture/picture_state.h"

namespace lumato::app {
namespace {

constexpr int kWheelNotch = 120;  // an eighth of a degree each, 15 degrees a notch

constexpr double kStepTime = 6e6;  // nanoseconds; painting takes about as long
constexpr double kCoarsest = 0.2;
constexpr int kRowsAtOnce = 32;
constexpr int kPause = 100;  // milliseconds without a step

}  // namespace

EditView::EditView(QWidget* parent) : QWidget(parent) {
    for (QTimer* timer : {&m_redraw, &m_refine})
        timer->setSingleShot(true);
    connect(&m_redraw, &QTimer::timeout, this, [this] {
        MyDrawEventHandler();
        update();
    });
    connect(&m_refine, &QTimer::timeout, this, &EditView::Refine);
}

void EditView::Redraw() {
    if (!MainThreadOwns())
        return;
    m_refine.stop();
    m_redraw.start(0);
}

void EditView::ShowArea(const QRectF& area) {
    m_area = area;
    Redraw();
    update();
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
    m_finer = {};
    if (m_shown)
        Draw(*image);
    else
        m_drawn = {};
    emit PictureShown(m_shown);
}

// The whole view shows the picture, beyond the canvas too: the rectangle can be moved there, and what it then
// holds goes to the frame.
void EditView::Draw(const picture::MyImage& image) {
    const QSize pixels = ScreenSize();
    if (pixels.isEmpty())
        return;
    const double whole = PixelTime(image) * pixels.width() * pixels.height();
    const double fineness = whole <= kStepTime ? 1 : std::max(std::sqrt(kStepTime / whole), kCoarsest);
    Drawing drawn = Blank(fineness);
    DrawRows(drawn, 0, drawn.image.height(), image);
    m_drawn = std::move(drawn);
    if (fineness < 1)
        m_refine.start(kPause);
}

// A picture that a worker has taken over meanwhile is shown anew when it gives it back.
void EditView::Refine() {
    const picture::MyImage* image = MainThreadOwns() ? picture::Pictures().gmyCGimage.get() : nullptr;
    if (image == nullptr)
        return;
    if (m_finer.image.isNull()) {
        m_finer = Blank(1);
        m_finerRows = 0;
    }
    // What the rows cost differs from one to the next: some at a time, by the clock.
    const QImage& finer = m_finer.image;
    QElapsedTimer time;
    time.start();
    do {
        const int end = std::min(m_finerRows + kRowsAtOnce, finer.height());
        DrawRows(m_finer, m_finerRows, end, *image);
        m_finerRows = end;
    } while (m_finerRows < finer.height() && static_cast<double>(time.nsecsElapsed()) < kStepTime);
    if (m_finerRows < finer.height()) {
        m_refine.start(0);
        return;
    }
    m_drawn = std::exchange(m_finer, {});
    update();
}

EditView::Drawing EditView::Blank(double fineness) const {
    const QSize pixels = (QSizeF(ScreenSize()) * fineness).toSize().expandedTo({1, 1});
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return {std::move(image), Shown().shown};
}

void EditView::DrawRows(Drawing& into, int begin, int end, const picture::MyImage& image) {
    QElapsedTimer time;
    time.start();
    QImage& drawn = into.image;
    const double scale = drawn.width() / into.part.width();
    const picture::Surface surface{.pixels = drawn.scanLine(begin),
                                   .width = drawn.width(),
                                   .height = end - begin,
                                   .bytesPerRow = static_cast<std::size_t>(drawn.bytesPerLine()),
                                   .order = picture::PixelOrder::BlueFirst,
                                   .pixelsPerCanvasPixel = scale};
    picture::DrawMyImage(
        surface, static_cast<float>(into.part.left()), static_cast<float>(into.part.top() + begin / scale),
        static_cast<float>(into.part.width()), static_cast<float>((end - begin) / scale), &image, false);
    const double pixels = static_cast<double>(drawn.width()) * (end - begin);
    double& pixelTime = PixelTime(image);
    pixelTime = (pixelTime + static_cast<double>(time.nsecsElapsed()) / pixels) / 2;
}

double& EditView::PixelTime(const picture::MyImage& image) {
    return m_pixelTime[std::fmod(image.rotation, 90.0F) == 0 ? 0 : 1];
}

// Black, as the frame shows what a picture leaves uncovered.
void EditView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (!m_shown)
        return;
    // Pixel for pixel once the image has the screen's size; scaled and shifted until the view is drawn anew.
    const QSize screen = ScreenSize();
    const bool exact = m_drawn.part == Shown().shown && screen == m_drawn.image.size();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !exact);
    painter.drawImage(
        exact ? QRectF(QPointF(0, 0), QSizeF(screen) / devicePixelRatioF()) : Shown().ToWidget(m_drawn.part),
        m_drawn.image);
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
        emit WheelTurned(notches, Shown().FromWidget(event->position()));
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
