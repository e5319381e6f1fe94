// Asks for the screen's and the flash's size of a new virtual frame.
//
// Main thread only.
#pragma once

#include <QComboBox>
#include <QDialog>
#include <QSpinBox>

#include "vframe/new_frame.h"

namespace lumato::app {

class NewFrameDialog : public QDialog {
    Q_OBJECT

  public:
    explicit NewFrameDialog(QWidget* parent);

    [[nodiscard]] vframe::NewFrame Options() const;

  private:
    QSpinBox* m_width;
    QSpinBox* m_height;
    QComboBox* m_flash;
};

}  // namespace lumato::app
