// Makes a photograph's thumbnail: from the desktop's store where it has one, else from the photograph, and
// then for the store, too.
//
// No state; callable from any thread.
#pragma once

#include "app/browser/thumbnail_store.h"

namespace lumato::app {

// Looks like a picture by its name; the others are not looked into.
[[nodiscard]] bool IsPictureName(const QString& name);

// Upright, in sRGB, at most `side` pixels wide and high; null for what is no picture, or cannot be read.
[[nodiscard]] QImage MakeThumbnail(const ThumbnailStore& store, const PhotoFile& photo, int side);

}  // namespace lumato::app
