// The bar that shows how far a transfer is. At rest it stays in its place but shows nothing: an empty box
// looks like one to type into.
//
// Main thread only.
#pragma once

#include <QProgressBar>

namespace lumato::app {

class TransferBar : public QProgressBar {
    Q_OBJECT

  public:
    explicit TransferBar(QWidget* parent = nullptr) : QProgressBar(parent) {}

  protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace lumato::app
