#include "app/edit/little_arrows.h"

#include <QSignalBlocker>
#include <QWheelEvent>
#include <cstdlib>

#include "app/parts/app_state.h"

namespace lumato::app {
namespace {

constexpr int kWidestInLetters = 20;  // numbers are short, however wide the window is

}  // namespace

LittleArrows::LittleArrows(QWidget* parent) : QSpinBox(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMaximumWidth(fontMetrics().averageCharWidth() * kWidestInLetters);
    connect(this, &QSpinBox::valueChanged, this, &LittleArrows::TakeValue);
}

void LittleArrows::Bind(picture::ArrowsControl& control) {
    m_control = &control;
    ShowControl();
}

void LittleArrows::Show(int value, int minimum, int maximum) {
    const QSignalBlocker quiet(this);
    setRange(minimum, maximum);
    setValue(value);
}

void LittleArrows::ShowControl() {
    Show(m_control->Value(), m_control->Minimum(), m_control->Maximum());
}

void LittleArrows::stepBy(int steps) {
    if (m_control == nullptr || !MainThreadOwns())
        return;
    interpretText();  // what was typed counts before the step
    for (int step = 0; step < std::abs(steps); ++step)
        picture::LittleArrowsControlAction(*m_control,
                                           steps > 0 ? picture::kUpArrowPart : picture::kDownArrowPart);
    ShowControl();
    selectAll();
}

// The control may undo the value or raise it; what it made of it is what the box shows.
void LittleArrows::TakeValue(int value) {
    if (m_control == nullptr || !MainThreadOwns())
        return;
    m_control->SetValue(value);
    ShowControl();
}

// Turning the wheel over a box that was not chosen is meant for what lies around it.
void LittleArrows::wheelEvent(QWheelEvent* event) {
    if (hasFocus())
        QSpinBox::wheelEvent(event);
    else
        event->ignore();
}

}  // namespace lumato::app
