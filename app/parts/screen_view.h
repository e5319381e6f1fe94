// The frame's screen in a window: at first as many of the desktop's units as the frame has pixels, then as
// large as the window lets it be; or at a magnification that is chosen. Pixels stay sharp squares at whole
// magnifications.
//
// Main thread only.
#pragma once

#include <QImage>
#include <QWidget>

namespace lumato::app {

class ScreenView : public QWidget {
    Q_OBJECT

  public:
    explicit ScreenView(QWidget* parent = nullptr);

    // What the frame's screen has; the size before there is a picture.
    void SetFrameSize(QSize pixels);
    // So many screen pixels for each of the frame's; 0: as many as fit. The view then wants that size.
    void SetTimes(int times);
    // A null image shows the words instead.
    void Show(const QImage& screen, const QString& words);
    [[nodiscard]] const QImage& Shown() const { return m_screen; }
    // Screen pixels for each of the frame's, in percent; 0 without a picture.
    [[nodiscard]] int Magnification() const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  signals:
    void Magnified();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    [[nodiscard]] QSize ShownPixels() const;

    QSize m_frameSize;
    QImage m_screen;
    QString m_words;
    int m_times = 0;
};

}  // namespace lumato::app
