// An arrows control in the window: shows an edit control's value and steps or sets it.
//
// Main thread only.
#pragma once

#include <QSpinBox>

#include "picture/edit_controls.h"

namespace lumato::app {

class LittleArrows : public QSpinBox {
    Q_OBJECT

  public:
    explicit LittleArrows(QWidget* parent = nullptr);

    // The control behind this one. It outlives the window.
    void Bind(picture::ArrowsControl& control);
    // Shows these values; the control is not touched.
    void Show(int value, int minimum, int maximum);

    // A held arrow runs on at the other end of the range.
    void stepBy(int steps) override;

  protected:
    [[nodiscard]] StepEnabled stepEnabled() const override { return StepUpEnabled | StepDownEnabled; }
    void wheelEvent(QWheelEvent* event) override;

  private:
    void TakeValue(int value);
    void ShowControl();

    picture::ArrowsControl* m_control = nullptr;
};

}  // namespace lumato::app
