// The preview: what was touched last, the picture selected in the frame's list or the one being fitted, as
// the frame shows it or would: decoded from its stream.
//
// Main thread only; streams are read, tried and decoded beside it, and what was asked for last is what is
// shown in the end. While a transfer runs, the view keeps what it showed.
#pragma once

#include <QFrame>
#include <QTimer>
#include <atomic>
#include <memory>
#include <optional>

#include "app/list/stream_image.h"
#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"

namespace lumato::app {

class Preview : public QFrame {
    Q_OBJECT

  public:
    explicit Preview(QWidget* parent = nullptr);
    ~Preview() override;

    // This picture of the list is the selected one; one that was before is shown again when it was touched.
    void ShowListed(const ListedPicture& picture, bool touched);
    // None is any more: the picture being fitted is shown, if there is one.
    void ForgetListed();
    // The edit picture or its pose may have changed; shown soon, if so. `replaces`: the position of the
    // listed picture whose place it would take.
    void FollowEditPicture(int replaces, const QString& name);
    void Clear();
    void SetHint(const QString& hint);

    // What is shown; without image and bytes: nothing is.
    [[nodiscard]] const StreamImage& Shown() const { return m_shown; }
    [[nodiscard]] const QString& Name() const { return m_name; }

    [[nodiscard]] QSize sizeHint() const override;

  signals:
    // Another picture is shown, or none.
    void Changed();
    // A larger view is wanted.
    void Opened();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    // Which edit picture was shown last, without keeping its pixels.
    struct Subject {
        std::weak_ptr<const picture::BitmapInfo> pixels;
        picture::Trial trial;
    };
    void TakeEditPicture();
    void Remember(const picture::Trial& trial);
    [[nodiscard]] bool IsNews(const picture::Trial& trial) const;
    void Ask(const QString& name, std::function<StreamImage(const picture::IsWanted&)> make);
    void Take(const StreamImage& shown, const QImage& scaled, const QString& name);
    [[nodiscard]] QSize Room() const;  // in the screen's pixels
    void MyPreviewEventHandler(QPainter& painter);

    MainThreadCalls m_calls;
    ReaderThread m_reader;
    QTimer m_editChanged;
    int m_replaces = 0;
    QString m_editName;
    std::optional<Subject> m_subject;
    std::optional<ListedPicture> m_listed;
    bool m_showsEdit = false;
    StreamImage m_shown;
    QImage m_scaled;  // to the view
    QString m_name;
    QString m_hint;
    std::atomic<int> m_request = 0;  // the newest; the thread gives up others
};

}  // namespace lumato::app
