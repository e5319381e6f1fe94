// What of the window's looks the form cannot say: headings, symbols on buttons.
//
// Main thread only.
#pragma once

#include <QWidget>

namespace lumato::app {

void DressWindow(const QWidget& window);

}  // namespace lumato::app
