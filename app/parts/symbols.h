// The symbols on the window's buttons: one set of our own in resources/icons/symbols, drawn in the colour of
// the text beside them, whatever the desktop's colours and the screen's resolution are. Icons of the
// desktop's theme know nothing of the ground that they are drawn on, and a theme that has only some of them
// makes a patched set.
//
// Main thread only.
#pragma once

#include <QIcon>
#include <QPalette>

namespace lumato::app {

// Takes its colour from the application's palette at the time of drawing.
[[nodiscard]] QIcon Symbol(const char* name, QPalette::ColorRole color = QPalette::ButtonText);

// The same as a picture of `size` in that colour, for a screen of that resolution.
[[nodiscard]] QPixmap SymbolPixmap(const char* name, QSize size, double pixelRatio, const QColor& color);

}  // namespace lumato::app
