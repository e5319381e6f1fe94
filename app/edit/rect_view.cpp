#include "app/edit/rect_view.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <utility>

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
constexpr double kHandle = 11;  // pixels; outwards from the border
// A corner dragged this near to the one across, or beyond it, enlarges no further.
constexpr double kShortest = 0.02;

}  // namespace

RectView::RectView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::CrossCursor);
    setMouseTracking(true);
    Redraw();
}

void RectView::Redraw() {
    if (MainThreadOwns() && std::exchange(m_releaseDue, false))
        picture::ReleaseRect(store::Store().gmyDrawrect, picture::Pictures().gesture,
                             store::Store().gmyLcdWidth, store::Store().gmyLcdHeight);
    if (MainThreadOwns())
        m_shown = store::Store().gmyDrawrect;
    if (!m_tracking && !m_scaling && m_area.Follow(m_shown))
        emit AreaChanged(m_area.Get());
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
    QPainter painter(this);
    if (m_nothingShown) {
        painter.fillRect(rect(), kMask);
        return;
    }
    const QRectF clear = Clear();
    QPainterPath mask;
    mask.addRect(rect());
    QPainterPath hole;
    hole.addRect(clear);
    painter.fillPath(mask.subtracted(hole), kMask);
    DrawBorder(painter, clear);
    if (!m_hintShown)
        DrawHandles(painter, clear);
    if (m_hintShown)
        DrawHint(painter, clear);
}

QRectF RectView::Clear() const {
    return Shown().ToWidget(OnCanvas(m_shown));
}

// Outside of what it surrounds, so that every pixel of the frame's picture is seen.
void RectView::DrawBorder(QPainter& painter, const QRectF& clear) const {
    const double width = hasFocus() ? kFocusBorder : kBorder;
    painter.setPen(QPen(hasFocus() ? palette().color(QPalette::Highlight) : kBorderColor, width,
                        Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(clear.adjusted(-width / 2, -width / 2, width / 2, width / 2));
}

void RectView::DrawHandles(QPainter& painter, const QRectF& clear) const {
    const QRectF outer = clear.adjusted(-kHandle, -kHandle, kHandle, kHandle);
    const QSizeF size(kHandle, kHandle);
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(hasFocus() ? palette().color(QPalette::Highlight) : kBorderColor);
    for (const QPointF& corner : {outer.topLeft(), QPointF(clear.right(), outer.top()),
                                  QPointF(outer.left(), clear.bottom()), clear.bottomRight()})
        painter.drawRect(QRectF(corner, size).adjusted(1, 1, -1, -1));
    painter.setBrush(Qt::NoBrush);
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

void RectView::ShowNothing(bool nothing) {
    m_nothingShown = nothing;
    setFocusPolicy(nothing ? Qt::NoFocus : Qt::StrongFocus);
    update();
}

void RectView::ShowHint(bool show) {
    m_hintShown = show;
    update();
}

// On the border or outside of it: a press inside moves the rectangle.
std::optional<QPoint> RectView::HandleAt(QPointF at) const {
    const QRectF clear = Clear();
    const bool inside =
        at.x() > clear.left() && at.x() < clear.right() && at.y() > clear.top() && at.y() < clear.bottom();
    if (m_hintShown || inside)
        return std::nullopt;
    for (const QPoint corner : {QPoint(0, 0), QPoint(1, 0), QPoint(0, 1), QPoint(1, 1)}) {
        const QPointF far = at - QPointF(corner.x() == 0 ? clear.left() : clear.right(),
                                         corner.y() == 0 ? clear.top() : clear.bottom());
        if (std::abs(far.x()) <= kHandle && std::abs(far.y()) <= kHandle)
            return corner;
    }
    return std::nullopt;
}

bool RectView::BeginScaling(QPointF at) {
    const auto corner = HandleAt(at);
    if (!corner || picture::Pictures().gmyCGimage == nullptr)
        return false;
    const QRectF rect = OnCanvas(store::Store().gmyDrawrect);
    const QPointF fixed(corner->x() == 0 ? rect.right() : rect.left(),
                        corner->y() == 0 ? rect.bottom() : rect.top());
    const QPointF diagonal = 2 * (rect.center() - fixed);
    m_scaling = Scaling{picture::BeginScaling(), fixed, diagonal};
    return true;
}

void RectView::Scale(QPointF at) {
    const picture::CanvasPoint point = Shown().FromWidget(at);
    const QPointF dragged = QPointF(point.x, point.y) - m_scaling->fixed;
    const double length = QPointF::dotProduct(dragged, m_scaling->diagonal) /
                          QPointF::dotProduct(m_scaling->diagonal, m_scaling->diagonal);
    picture::ScaleAround(
        m_scaling->from, 1 / std::max(length, kShortest),
        {static_cast<float>(m_scaling->fixed.x()), static_cast<float>(m_scaling->fixed.y())});
}

void RectView::ShowCursor(QPointF at) {
    const auto handle = HandleAt(at);
    const QRectF clear = Clear();
    if (handle)
        setCursor(handle->x() == handle->y() ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor);
    else
        setCursor(clear.contains(at) ? Qt::SizeAllCursor : Qt::CrossCursor);
}

void RectView::MyRectEventHandler(RectEvent event, QPointF at) {
    if (!MainThreadOwns() || !isEnabled())
        return;
    store::StoreState& store = store::Store();
    picture::RectGesture& gesture = picture::Pictures().gesture;
    const picture::CanvasPoint point = Shown().FromWidget(at);
    if (event == RectEvent::Press && !BeginScaling(at)) {
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
    if (m_scaling && MainThreadOwns() && picture::Pictures().gmyCGimage != nullptr)
        Scale(event->position());
    else if (m_tracking)
        MyRectEventHandler(RectEvent::Track, event->position());
    else
        ShowCursor(event->position());
}

void RectView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    if (m_tracking)
        MyRectEventHandler(RectEvent::Release, event->position());
    m_releaseDue = m_tracking;  // a task has taken the rectangle meanwhile, and gives it back
    m_tracking = false;
    m_scaling.reset();
    Redraw();
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
        case Qt::Key_Plus:
        case Qt::Key_Minus:
            emit ScaleWanted(event->key() == Qt::Key_Plus ? 1 : -1);
            moved = true;
            break;
        default:
            break;
    }
    if (!moved)
        QWidget::keyPressEvent(event);
}

}  // namespace lumato::app
