// The bar that shows how far a transfer is: the percentage, what is under way, the picture in hand and the
// time that is left; and that the frame does not answer, if it does not. At rest it stays in its place but
// shows nothing: an empty box looks like one to type into.
//
// Main thread only.
#pragma once

#include <QElapsedTimer>
#include <QProgressBar>
#include <QTimer>
#include <optional>

#include "store/progress.h"

namespace lumato::app {

class TransferBar : public QProgressBar {
    Q_OBJECT

  public:
    explicit TransferBar(QWidget* parent = nullptr);

    // From 0 (at rest) to 100; what is beyond counts as these.
    void ShowPercent(int percent);
    void ShowProgress(const store::Progress& progress);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void ShowSilence();
    [[nodiscard]] QString Words() const;

    QTimer m_watch;
    bool m_silent = false;  // the bar says that the frame is
    int m_percent = 0;      // as it was told
    std::optional<store::Progress> m_progress;
    QElapsedTimer m_since;  // that was told
};

}  // namespace lumato::app
