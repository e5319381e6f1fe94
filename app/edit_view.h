// The picture edit view: the edit picture with its pose on the canvas, at the screen's own resolution.
//
// Main thread only; what takes the composer long is drawn beside it. While a worker owns the picture, the
// view keeps showing what it drew last.
#pragma once

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <memory>

#include "app/draft_picture.h"
#include "app/main_thread_calls.h"
#include "app/reader_thread.h"
#include "picture/bitmap_info.h"

namespace lumato::app {

class EditView : public QWidget {
    Q_OBJECT

  public:
    explicit EditView(QWidget* parent = nullptr);
    ~EditView() override;

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
    void FilesDropped(const QList<QUrl>& files);
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
    [[nodiscard]] static QImage Exact(QSize pixels, double scale, const picture::MyImage& image);
    void TakeCopy(const picture::MyImage& image);
    void Finish(QSize pixels, double scale, picture::MyImage image);
    [[nodiscard]] QSize ScreenSize() const;  // of the view, in the screen's pixels

    QTimer m_redraw;
    MainThreadCalls m_calls;
    ReaderThread m_finisher;                            // draws what the composer takes long for
    std::shared_ptr<const picture::BitmapInfo> m_copy;  // of the edit picture
    std::shared_ptr<const DraftPicture> m_draft;        // null until it is made
    std::uint64_t m_serial = 0;                         // which of the edit pictures these two are of
    int m_request = 0;                                  // of the drawing wanted last
    QImage m_drawn;
    bool m_shown = false;  // there was a picture when the view was drawn
    int m_wheelAngle = 0;
};

}  // namespace lumato::app
