// The picture edit view: the edit picture with its pose on the canvas, at the screen's own resolution.
//
// Main thread only. While a worker owns the picture, the view keeps showing what it drew last.
#pragma once

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <vector>

#include "base/file.h"
#include "picture/bitmap_info.h"

namespace lumato::app {

class EditView : public QWidget {
    Q_OBJECT

  public:
    explicit EditView(QWidget* parent = nullptr);

    // Has the picture drawn anew, once, before the next painting.
    void Redraw();

    [[nodiscard]] bool ShowsPicture() const { return m_shown && !m_drawn.isNull(); }
    // The picture as it is drawn, in the screen's pixels.
    [[nodiscard]] const QImage& Drawn() const { return m_drawn; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  signals:
    // The view was drawn, with or without a picture.
    void PictureShown(bool shown);
    // Files were dropped onto the view.
    void FilesDropped(const std::vector<Path>& files);
    // The wheel was turned by so many notches.
    void WheelTurned(int notches);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void MyDrawEventHandler();
    void Draw(const picture::MyImage& image);
    [[nodiscard]] QSize ScreenSize() const;  // of the view, in the screen's pixels

    QTimer m_redraw;
    QImage m_drawn;
    bool m_shown = false;  // there was a picture when the view was drawn
    int m_wheelAngle = 0;
};

}  // namespace lumato::app
