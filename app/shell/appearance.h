// What of the window's looks the form cannot say: headings, symbols on buttons.
//
// Main thread only.
#pragma once

#include <QWidget>

namespace lumato::app {

// Before the application is made. All that we draw lies in shared memory, but on Wayland Qt would load
// OpenGL's libraries with the first window: half of the program's memory, and most of the time until that is
// shown. The programs that we start draw nothing.
void DrawWithoutOpenGl();

void DressWindow(const QWidget& window);

}  // namespace lumato::app
