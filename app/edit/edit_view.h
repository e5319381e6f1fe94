// The picture edit view: the edit picture with its pose on the canvas, at the screen's own resolution.
//
// Main thread only, which it never keeps for longer than a step of a smooth movement: a picture that takes
// longer is drawn coarsely at once, and finely, some rows at a time, when the steps pause. While a worker
// owns the picture, the view keeps showing what it drew last.
#pragma once

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <array>
#include <vector>

#include "app/edit/canvas.h"
#include "base/file.h"
#include "picture/my_image.h"

namespace lumato::app {

class EditView : public QWidget {
    Q_OBJECT

  public:
    explicit EditView(QWidget* parent = nullptr);

    // Has the picture drawn anew, once, before the next painting.
    void Redraw();
    // Shows this part of the canvas.
    void ShowArea(const QRectF& area);

    [[nodiscard]] bool ShowsPicture() const { return m_shown && !m_drawn.image.isNull(); }
    // The picture as it is drawn, in the screen's pixels once it IsFine().
    [[nodiscard]] const QImage& Drawn() const { return m_drawn.image; }
    [[nodiscard]] bool IsFine() const { return !m_redraw.isActive() && !m_refine.isActive(); }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  signals:
    // The view was drawn, with or without a picture.
    void PictureShown(bool shown);
    // Files were dropped onto the view.
    void FilesDropped(const std::vector<Path>& files);
    // The wheel was turned by so many notches, over that point of the canvas.
    void WheelTurned(int notches, picture::CanvasPoint at);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    struct Drawing {
        QImage image;
        QRectF part;  // of the canvas
    };
    void MyDrawEventHandler();
    void Draw(const picture::MyImage& image);
    void Refine();
    [[nodiscard]] Drawing Blank(double fineness) const;
    void DrawRows(Drawing& into, int begin, int end, const picture::MyImage& image);
    [[nodiscard]] double& PixelTime(const picture::MyImage& image);
    [[nodiscard]] Canvas Shown() const { return {QSizeF(size()), m_area}; }
    [[nodiscard]] QSize ScreenSize() const;  // of the view, in the screen's pixels

    QTimer m_redraw, m_refine;
    QRectF m_area{0, 0, 580, 400};
    Drawing m_drawn, m_finer;
    int m_finerRows = 0;
    // Nanoseconds that a pixel took, of pictures that lie straight and of others.
    std::array<double, 2> m_pixelTime{10, 50};
    bool m_shown = false;  // there was a picture when the view was drawn
    int m_wheelAngle = 0;
};

}  // namespace lumato::app
