// A picture of the list as the window shows it: values, so that a worker may change the list meanwhile.
//
// No state; callable from any thread.
#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>

#include "base/file.h"

namespace lumato::app {

struct ListedPicture {
    QString name;
    QByteArray hash;   // of its stream; empty where nobody has read it
    Path stream;       // what the frame holds, or will
    Path bitmap;       // what it was made from, or was decoded to
    QSize pixels;      // of the frame's screen
    qint64 bytes = 0;  // of the stream
    bool inFrame = false;
    QString whyNoPicture;  // empty where there is one to look at
    QString origin;        // the file that it was made from; empty where nobody knows
    bool operator==(const ListedPicture&) const = default;

    // Another picture has another one, whatever its name: names come to mean other pictures.
    [[nodiscard]] QByteArray Key() const { return name.toUtf8() + '/' + hash; }
};

}  // namespace lumato::app
