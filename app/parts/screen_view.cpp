#include "app/parts/screen_view.h"

#include <QPainter>
#include <cmath>

namespace lumato::app {
namespace {

constexpr QSize kSmallest(160, 120);
const QColor kWords(235, 235, 235);  // on black, as the screen is

}  // namespace

ScreenView::ScreenView(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void ScreenView::SetFrameSize(QSize pixels) {
    m_frameSize = pixels;
    updateGeometry();
}

void ScreenView::SetTimes(int times) {
    m_times = times;
    updateGeometry();
    update();
    emit Magnified();
}

void ScreenView::Show(const QImage& screen, const QString& words) {
    const bool otherSize = screen.size() != m_screen.size();
    m_screen = screen;
    m_words = words;
    if (otherSize)
        updateGeometry();
    update();
    emit Magnified();
}

// What fits, and a whole magnification where there is room for one.
QSize ScreenView::ShownPixels() const {
    if (m_times > 0)
        return m_screen.size() * m_times;
    const QSize room = (QSizeF(size()) * devicePixelRatioF()).toSize();
    const QSize fitting = m_screen.size().scaled(room, Qt::KeepAspectRatio);
    const int times = m_screen.width() > 0 ? fitting.width() / m_screen.width() : 0;
    return times >= 1 ? m_screen.size() * times : fitting;
}

int ScreenView::Magnification() const {
    if (m_screen.isNull())
        return 0;
    return static_cast<int>(std::lround(100.0 * ShownPixels().width() / m_screen.width()));
}

QSize ScreenView::sizeHint() const {
    const QSize pixels = m_screen.isNull() ? m_frameSize : m_screen.size();
    if (m_times == 0)
        return pixels.expandedTo(kSmallest);
    const QSizeF units = QSizeF(pixels * m_times) / devicePixelRatioF();
    return QSize(static_cast<int>(std::ceil(units.width())), static_cast<int>(std::ceil(units.height())))
        .expandedTo(kSmallest);
}

QSize ScreenView::minimumSizeHint() const {
    return kSmallest;
}

void ScreenView::resizeEvent(QResizeEvent*) {
    emit Magnified();
}

void ScreenView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (m_screen.isNull()) {
        painter.setPen(kWords);
        painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, m_words);
        return;
    }
    const double ratio = devicePixelRatioF();
    const QSize room = (QSizeF(size()) * ratio).toSize();
    const QSize shown = ShownPixels();
    const QPointF corner((room.width() - shown.width()) / 2, (room.height() - shown.height()) / 2);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, shown.width() % m_screen.width() != 0);
    painter.drawImage(QRectF(corner / ratio, QSizeF(shown) / ratio), m_screen);
}

}  // namespace lumato::app
