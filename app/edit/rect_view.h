// The LCD rectangle over the edit view: a grey mask that leaves clear what will go to the frame. The mouse
// moves the rectangle or places a new one, the arrow keys move it by a pixel, with Shift by ten. The
// rectangle keeps the LCD's size: a handle outside of its corner, dragged outwards, has it hold more of the
// picture.
//
// Main thread only. While a worker owns the rectangle, the view keeps showing the last one.
#pragma once

#include <QWidget>
#include <optional>

#include "app/edit/canvas.h"
#include "app/edit/visible_area.h"
#include "picture/scale_gesture.h"
#include "store/store_state.h"

namespace lumato::app {

class RectView : public QWidget {
    Q_OBJECT

  public:
    explicit RectView(QWidget* parent = nullptr);

    // Takes the rectangle as it now is and draws it.
    void Redraw();
    // What stands over the canvas while there is no picture on it.
    void SetHint(const QString& hint);
    void ShowHint(bool show);
    // While no picture can be fitted the view is dark, and does not ask for one.
    void ShowNothing(bool nothing);
    // The part of the canvas that both views show, as large as they are.
    [[nodiscard]] const QRectF& Area() const { return m_area.Get(); }
    [[nodiscard]] Canvas Shown() const { return {QSizeF(size()), m_area.Get()}; }

  signals:
    // The user has moved the rectangle, or is doing so.
    void RectChanged();
    // Another part of the canvas is shown; never within a gesture.
    void AreaChanged(const QRectF& area);
    // The keys ask for so many percent more.
    void ScaleWanted(int percent);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    // A corner that is being dragged, and the one across, which stays where it is on the picture.
    struct Scaling {
        picture::ScaleGesture from;
        QPointF fixed, diagonal;  // on the canvas
    };
    enum class RectEvent { Press, Track, Release };
    void MyRectEventHandler(RectEvent event, QPointF at);
    // Of the corner at `at`, to the right and below or not; there are none without a picture.
    [[nodiscard]] std::optional<QPoint> HandleAt(QPointF at) const;
    [[nodiscard]] bool BeginScaling(QPointF at);
    void Scale(QPointF at);
    void ShowCursor(QPointF at);
    [[nodiscard]] QRectF Clear() const;
    [[nodiscard]] bool MoveBy(float x, float y);

    void DrawBorder(QPainter& painter, const QRectF& clear) const;
    void DrawHandles(QPainter& painter, const QRectF& clear) const;
    void DrawHint(QPainter& painter, const QRectF& clear) const;

    QString m_hint;
    bool m_hintShown = true;
    bool m_nothingShown = false;
    store::Rect m_shown;
    bool m_tracking = false;
    bool m_releaseDue = false;
    std::optional<Scaling> m_scaling;
    VisibleArea m_area;
};

}  // namespace lumato::app
