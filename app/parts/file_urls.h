// Files as addresses for other programs, and back: byte for byte, for not every file's name is a text.
//
// No state; callable from any thread.
#pragma once

#include <QDropEvent>
#include <QList>
#include <QUrl>
#include <string>
#include <vector>

#include "base/file.h"

namespace lumato::app {

// "file:///home/me/M%C3%A4rz.jpg", escaped as all programs of the desktop do it. Requires: `file` is
// absolute.
[[nodiscard]] std::string FileAddress(const Path& file);
[[nodiscard]] QUrl UrlOf(const Path& file);
// Those that are files of this computer.
[[nodiscard]] std::vector<Path> PathsOf(const QList<QUrl>& urls);

// Takes what is dragged or dropped as copies, whatever the other program proposes: after a move it would
// delete its files.
void TakeCopies(QDropEvent* event);

}  // namespace lumato::app
