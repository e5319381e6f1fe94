#include "app/list/preview_window.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr Qt::Key kCompareKey = Qt::Key_C;
constexpr int kOfScreen = 9;  // tenths of it that the window takes by itself

}  // namespace

PreviewWindow::PreviewWindow(const Preview& preview, QWidget* parent)
    : QDialog(parent),
      m_preview(preview),
      m_view(new ScreenView),
      m_area(new QScrollArea(this)),
      m_compare(new QPushButton(this)),
      m_facts(new DetailLabel(this)) {
    m_area->setWidget(m_view);
    m_area->setAlignment(Qt::AlignCenter);
    m_area->setFrameShape(QFrame::NoFrame);
    m_area->setFocusPolicy(Qt::StrongFocus);  // its arrow keys scroll
    auto* buttons = new QHBoxLayout;
    auto* group = new QButtonGroup(this);
    for (int times = 1; times <= static_cast<int>(m_times.size()); ++times) {
        auto* button = m_times[static_cast<std::size_t>(times) - 1] =
            new QPushButton(QStringLiteral("%1 : 1").arg(times), this);
        button->setCheckable(true);
        button->setAutoDefault(false);
        group->addButton(button);
        buttons->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, times] { Magnify(times); });
    }
    buttons->addWidget(m_compare);
    buttons->addWidget(m_facts, 1);
    m_compare->setAutoDefault(false);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_area, 1);
    layout->addLayout(buttons);
    connect(m_compare, &QPushButton::pressed, this, [this] { Compare(true); });
    connect(m_compare, &QPushButton::released, this, [this] { Compare(false); });
    connect(&m_preview, &Preview::Changed, this, &PreviewWindow::Take);
    Magnify(1);
    ShowTexts();
}

void PreviewWindow::ShowTexts() {
    setWindowTitle(Localized("PREVIEW_HINT", "Preview"));
    m_compare->setText(Localized("PREVIEW_COMPARE", "Hold: Not Encoded") + QStringLiteral(" (C)"));
    for (std::size_t i = 0; i < m_times.size(); ++i)
        m_times[i]->setToolTip(LocalizedWith("PREVIEW_TIMES", "Screen pixels for each of the frame's: {}",
                                             QString::number(i + 1)));
    m_view->setAccessibleName(windowTitle());
    Take();
}

void PreviewWindow::Take() {
    m_compare->setEnabled(!m_preview.Shown().unencoded.isNull());
    ShowImage();
}

void PreviewWindow::ShowImage() {
    const StreamImage& shown = m_preview.Shown();
    const bool unencoded = m_unencoded && !shown.unencoded.isNull();
    m_view->Show(unencoded ? shown.unencoded : shown.image,
                 shown.whyNot.isEmpty() ? Localized("PREVIEW_HINT", "Preview") : shown.whyNot);
    m_view->resize(m_view->sizeHint());
    const QString facts = unencoded ? Localized("PREVIEW_UNENCODED", "not encoded") : FactsOf(shown);
    m_facts->SetDetail(facts);
    m_view->setAccessibleDescription(m_preview.Name() + QStringLiteral(", ") + facts);
}

void PreviewWindow::Magnify(int times) {
    m_times[static_cast<std::size_t>(times) - 1]->setChecked(true);
    // What is in the middle stays there.
    const QPoint middle = m_view->mapFrom(m_area->viewport(), m_area->viewport()->rect().center());
    const QPointF at(static_cast<double>(middle.x()) / m_view->width(),
                     static_cast<double>(middle.y()) / m_view->height());
    m_view->SetTimes(times);
    m_view->resize(m_view->sizeHint());
    if (isVisible())
        Grow();
    const QPoint there = QPointF(at.x() * m_view->width(), at.y() * m_view->height()).toPoint();
    m_area->ensureVisible(there.x(), there.y(), m_area->viewport()->width() / 2,
                          m_area->viewport()->height() / 2);
}

void PreviewWindow::Compare(bool unencoded) {
    if (std::exchange(m_unencoded, unencoded) != unencoded)
        ShowImage();
}

// As large as its picture, as far as the screen has room for that; later on as the user made it, or larger.
void PreviewWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    Take();
    if (m_preview.Shown().image.isNull() || std::exchange(m_sized, true))
        return;
    resize(minimumSizeHint());
    Grow();
}

void PreviewWindow::Grow() {
    const QSize others = sizeHint() - m_area->sizeHint();
    const QSize wanted = m_view->size() + others.expandedTo(QSize(0, 0)) + QSize(2, 2);
    resize(size().expandedTo(wanted.boundedTo(screen()->availableSize() * kOfScreen / 10)));
    const QRect room = screen()->availableGeometry();
    const QRect now = frameGeometry();
    move(std::max(std::min(now.x(), room.right() - now.width()), room.x()),
         std::max(std::min(now.y(), room.bottom() - now.height()), room.y()));
}

void PreviewWindow::keyPressEvent(QKeyEvent* event) {
    const int times = event->key() - Qt::Key_0;
    if (times >= 1 && times <= static_cast<int>(m_times.size()))
        Magnify(times);
    else if (event->key() == kCompareKey && m_compare->isEnabled())
        Compare(true);
    else
        QDialog::keyPressEvent(event);
}

// A key that is held is released again and again.
void PreviewWindow::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == kCompareKey && !event->isAutoRepeat())
        Compare(false);
    else
        QDialog::keyReleaseEvent(event);
}

// The key may be let go of over another window.
void PreviewWindow::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && !isActiveWindow())
        Compare(false);
}

}  // namespace lumato::app
