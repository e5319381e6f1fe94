// The LCD rectangle over the edit view: a grey mask that leaves clear what will go to the frame. The mouse
// moves the rectangle or places a new one, the arrow keys move it by a pixel, with Shift by ten.
//
// Main thread only. While a worker owns the rectangle, the view keeps showing the last one.
#pragma once

#include <QWidget>

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
    // While a notice stands over the view there is no hint.
    void MakeRoomForNotice(bool shown);

  signals:
    // The user has moved the rectangle, or is doing so.
    void RectChanged();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    enum class RectEvent { Press, Track, Release };
    void MyRectEventHandler(RectEvent event, QPointF at);
    [[nodiscard]] bool MoveBy(float x, float y);

    void DrawBorder(QPainter& painter, const QRectF& clear) const;
    void DrawHint(QPainter& painter, const QRectF& clear) const;

    QString m_hint;
    bool m_hintShown = true;
    bool m_noticeShown = false;
    store::Rect m_shown;
    bool m_tracking = false;
};

}  // namespace lumato::app
