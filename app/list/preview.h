// The preview: the picture selected in the frame picture list, as the frame holds it.
//
// Main thread only; the bitmap is read beside it. While a transfer runs, the view keeps what it showed.
#pragma once

#include <QFrame>
#include <QImage>

#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"
#include "base/file.h"

namespace lumato::app {

class Preview : public QFrame {
    Q_OBJECT

  public:
    explicit Preview(QWidget* parent = nullptr);
    ~Preview() override;

    // Reads and shows a local bitmap; what was asked for last is what is shown in the end.
    void ShowFile(const Path& file, const QString& name);
    void Clear();
    void SetHint(const QString& hint);

    [[nodiscard]] const QImage& Shown() const { return m_picture; }

    [[nodiscard]] QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void MyPreviewEventHandler(QPainter& painter);

    MainThreadCalls m_calls;
    ReaderThread m_reader;
    QImage m_picture;
    QString m_hint;
    int m_request = 0;
};

}  // namespace lumato::app
