// What the frame shows, or will: decoded from the streams themselves, not from what they were made of.
//
// No state; any thread.
#pragma once

#include <QImage>

#include "app/list/listed_picture.h"
#include "picture/trial.h"

namespace lumato::app {

struct StreamImage {
    QImage image;
    QImage unencoded;  // what the stream was made from; null where that is not known
    qint64 bytes = 0;
    int quality = 0;      // 0: nobody knows
    qint64 room = -1;     // that it may take; -1: it has its place already
    bool shared = false;  // the room is its share of the frame
    QString whyNot;       // why there is no image, or why the picture cannot be added
    bool operator==(const StreamImage&) const = default;
};

enum class Wanted { Image, BothImages };
// The stream of a listed picture, at its own size.
[[nodiscard]] StreamImage ReadStream(const ListedPicture& picture, Wanted wanted = Wanted::BothImages);
// What adding the edit picture would give.
[[nodiscard]] StreamImage TryOut(const picture::Trial& trial, const picture::IsWanted& isWanted);

// "34 KB".
[[nodiscard]] QString SizeText(qint64 bytes);
// Bytes, quality and room in words; empty where nothing is known.
[[nodiscard]] QString FactsOf(const StreamImage& shown);

}  // namespace lumato::app
