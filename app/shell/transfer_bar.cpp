#include "app/shell/transfer_bar.h"

namespace lumato::app {

void TransferBar::paintEvent(QPaintEvent* event) {
    if (value() > minimum())
        QProgressBar::paintEvent(event);
}

}  // namespace lumato::app
