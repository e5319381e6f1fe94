// The dialog in which files and folders are chosen, alike for all that ask for one.
//
// Main thread only.
#pragma once

#include <QFileDialog>

#include "base/file.h"

namespace lumato::app {

// Opens at `folder`, and deletes itself once it is closed.
[[nodiscard]] QFileDialog* NewFileDialog(QWidget* window, const QString& title, const Path& folder,
                                         const QString& names = {});

}  // namespace lumato::app
