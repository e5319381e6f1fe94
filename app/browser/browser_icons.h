// The icons of the browser's buttons, in the colours of the window: a desktop's own are dark on some dark
// ones.
//
// Main thread only.
#pragma once

#include <QIcon>
#include <QWidget>

namespace lumato::app {

// An arrow: to the folder above.
[[nodiscard]] QIcon UpIcon(const QWidget& window);
// Four tiles: how the folder is shown.
[[nodiscard]] QIcon TilesIcon(const QWidget& window);

}  // namespace lumato::app
