// What a list says in the place of items while it has none.
//
// Main thread only.
#pragma once

#include <QListView>

namespace lumato::app {

// From within the view's paint event.
void DrawHint(QListView& view, const QString& hint, Qt::Alignment place);

}  // namespace lumato::app
