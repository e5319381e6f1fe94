#include "app/edit/rect_view.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

#include "app/edit/canvas.h"
#include "app/parts/app_state.h"
#include "picture/picture_state.h"

namespace lumato::app {
namespace {

const QColor kMask = QColor::fromRgbF(0.3F, 0.3F, 0.3F, 0.5F);
// What lies below is a picture, or black: the colours of the desktop have no say here.
const QColor kBorderColor = QColor(255, 255, 255, 200);
const QColor kHintColor = QColor(235, 235, 235);
constexpr double kBorder = 1;
constexpr double kFocusBorder = 2;
constexpr float kKeyStep = 1;
constexpr float kLargeKeyStep = 10;

}  // namespace

RectView::RectView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::CrossCursor);
    Redraw();
}

void RectView::Redraw() {
    if (MainThreadOwns())
        m_shown = store::Store().gmyDrawrect;
    const store::Rect rect = picture::WithTopLeftCorner(m_shown);
    setAccessibleDescription(QStringLiteral("X %1, Y %2, %3 × %4")
                                 .arg(std::lround(rect.x))
                                 .arg(std::lround(rect.y))
                                 .arg(std::lround(std::abs(rect.width)))
                                 .arg(std::lround(std::abs(rect.height))));
    update();
}

void RectView::paintEvent(QPaintEvent*) {
    if (m_shown.width == 0 || m_shown.height == 0)
        return;
    const store::Rect shown = picture::WithTopLeftCorner(m_shown);
    const QRectF clear =
        Canvas{QSizeF(size())}.ToWidget(shown.x, shown.y, std::abs(shown.width), std::abs(shown.height));
    QPainterPath mask;
    mask.addRect(rect());
    QPainterPath hole;
    hole.addRect(clear);
    QPainter painter(this);
    painter.fillPath(mask.subtracted(hole), kMask);
    DrawBorder(painter, clear);
    if (m_hintShown && !m_noticeShown)
        DrawHint(painter, clear);
}

// Outside of what it surrounds, so that every pixel of the frame's picture is seen.
void RectView::DrawBorder(QPainter& painter, const QRectF& clear) const {
    const double width = hasFocus() ? kFocusBorder : kBorder;
    painter.setPen(QPen(hasFocus() ? palette().color(QPalette::Highlight) : kBorderColor, width,
                        Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(clear.adjusted(-width / 2, -width / 2, width / 2, width / 2));
}

// On the mask below the rectangle, or at the lower edge where that leaves no room for the words.
void RectView::DrawHint(QPainter& painter, const QRectF& clear) const {
    constexpr int kPlace = Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap;
    const double margin = fontMetrics().height();
    QRectF room = QRectF(rect()).adjusted(margin, margin, -margin, -margin);
    const QRectF words = painter.boundingRect(room, kPlace, m_hint);
    room.setTop(std::max(room.top(), std::min(clear.bottom() + margin, room.bottom() - words.height())));
    painter.setPen(kHintColor);
    painter.drawText(room, kPlace, m_hint);
}

void RectView::SetHint(const QString& hint) {
    m_hint = hint;
    update();
}

void RectView::MakeRoomForNotice(bool shown) {
    m_noticeShown = shown;
    update();
}

void RectView::ShowHint(bool show) {
    m_hintShown = show;
    update();
}

void RectView::MyRectEventHandler(RectEvent event, QPointF at) {
    if (!MainThreadOwns() || !isEnabled())
        return;
    store::StoreState& store = store::Store();
    picture::RectGesture& gesture = picture::Pictures().gesture;
    const picture::CanvasPoint point = Canvas{QSizeF(size())}.FromWidget(at);
    if (event == RectEvent::Press) {
        gesture = picture::PressRect(store.gmyDrawrect, point, store.gmyLcdWidth, store.gmyLcdHeight);
        m_tracking = true;
    } else if (m_tracking) {
        picture::TrackRect(store.gmyDrawrect, gesture, point, store.gmyLcdWidth);
        if (event == RectEvent::Release) {
            picture::ReleaseRect(store.gmyDrawrect, gesture, store.gmyLcdWidth, store.gmyLcdHeight);
            m_tracking = false;
        }
    }
    Redraw();
    emit RectChanged();
}

void RectView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        MyRectEventHandler(RectEvent::Press, event->position());
}

void RectView::mouseMoveEvent(QMouseEvent* event) {
    if (m_tracking)
        MyRectEventHandler(RectEvent::Track, event->position());
}

void RectView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && m_tracking)
        MyRectEventHandler(RectEvent::Release, event->position());
}

bool RectView::MoveBy(float x, float y) {
    if (!MainThreadOwns() || !isEnabled())
        return false;
    store::StoreState& store = store::Store();
    store.gmyDrawrect.x = std::max(store.gmyDrawrect.x + x, -store.gmyLcdWidth);
    store.gmyDrawrect.y += y;
    Redraw();
    emit RectChanged();
    return true;
}

void RectView::keyPressEvent(QKeyEvent* event) {
    const float step = (event->modifiers() & Qt::ShiftModifier) != 0 ? kLargeKeyStep : kKeyStep;
    bool moved = false;
    switch (event->key()) {
        case Qt::Key_Left:
            moved = MoveBy(-step, 0);
            break;
        case Qt::Key_Right:
            moved = MoveBy(step, 0);
            break;
        case Qt::Key_Up:
            moved = MoveBy(0, -step);
            break;
        case Qt::Key_Down:
            moved = MoveBy(0, step);
            break;
        default:
            break;
    }
    if (!moved)
        QWidget::keyPressEvent(event);
}

}  // namespace lumato::app
