// The button that people came for, in the colours of what is selected. No default button of a dialog: the
// Return key belongs to whatever has the focus.
//
// Main thread only.
#pragma once

#include <QPushButton>

namespace lumato::app {

class MainButton : public QPushButton {
    Q_OBJECT

  public:
    explicit MainButton(QWidget* parent = nullptr);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void TakeColors();

    bool m_taking = false;
};

}  // namespace lumato::app
