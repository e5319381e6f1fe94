#include "app/shell/transfer_bar.h"

#include <algorithm>
#include <chrono>

#include "app/parts/texts.h"
#include "store/transfer.h"

namespace lumato::app {
namespace {

constexpr const char* kPercent = "%p%";

QString NameOf(store::Phase phase) {
    switch (phase) {
        case store::Phase::Reading:
            return Localized("PHASE_READING", "Reading");
        case store::Phase::Adding:
            return Localized("PHASE_ADDING", "Adding");
        case store::Phase::Checking:
            return Localized("PHASE_CHECKING", "Checking");
        case store::Phase::Saving:
            return Localized("PHASE_SAVING", "Saving");
        case store::Phase::Writing:
            break;
    }
    return Localized("PHASE_WRITING", "Writing");
}

}  // namespace

TransferBar::TransferBar(QWidget* parent) : QProgressBar(parent) {
    connect(&m_watch, &QTimer::timeout, this, &TransferBar::ShowSilence);
    m_watch.start(std::chrono::seconds(1));
}

void TransferBar::ShowPercent(int percent) {
    m_percent = percent;
    setTextVisible(percent > 0);  // a bar at rest says nothing
    setValue(std::clamp(percent, 0, 100));
    if (percent == 0)
        m_progress.reset();
    setFormat(Words());
}

void TransferBar::ShowProgress(const store::Progress& progress) {
    m_progress = progress;
    m_since.start();
    if (m_silent)
        return;
    if (m_percent == 0) {  // what no percentage is told of has one all the same
        setValue(std::clamp(static_cast<int>(100 * progress.Done()), 1, 99));
        setTextVisible(true);
    }
    setFormat(Words());
}

// As much as there is room for: "31%  Writing 3/12, 14 s".
QString TransferBar::Words() const {
    const QString percent = QLatin1String(kPercent);
    if (!m_progress)
        return percent;
    const QString count = m_progress->pictures > 0
                              ? QStringLiteral(" %1/%2").arg(m_progress->picture).arg(m_progress->pictures)
                              : QString();
    QString left;
    if (m_progress->secondsLeft) {
        const double since = static_cast<double>(m_since.elapsed()) / 1000;
        left = QStringLiteral(", %1 s").arg(
            static_cast<int>(std::max(*m_progress->secondsLeft - since, 0.0) + 0.5));
    }
    const QString words = percent + QStringLiteral("  ") + NameOf(m_progress->phase) + count + left;
    return fontMetrics().horizontalAdvance(words) < width() ? words
                                                            : percent + QLatin1Char(' ') + count + left;
}

// Between two blocks the time that is left goes on, and a command that is not answered keeps the task that
// would tell of it.
void TransferBar::ShowSilence() {
    const auto silence = store::FrameSilence();
    const bool silent = silence >= store::kLongSilence;
    if (!silent && !m_silent && !m_progress)
        return;
    m_silent = silent;
    setTextVisible(silent || value() > 0);
    setFormat(silent ? Localized(About(Phrase("FRAME_SILENT", "No answer from the frame"),
                                       std::to_string(silence.count()) + " s"))
                     : Words());
}

void TransferBar::paintEvent(QPaintEvent* event) {
    if (value() > minimum())
        QProgressBar::paintEvent(event);
}

}  // namespace lumato::app
