// The picture room's process-wide state, under the names that the whole program uses.
//
// One owner at a time, as for the store's state: a running worker, otherwise the main thread.
#pragma once

#include <cstdint>
#include <memory>

#include "picture/album.h"
#include "picture/edit_controls.h"
#include "picture/my_image.h"

namespace lumato::picture {

struct PictureState {
    // Owns the edit picture's pixels, which stay as they are once they are imported: whoever shows them
    // beside the owner (trial.h) keeps them a little longer.
    std::shared_ptr<BitmapInfo> gmyCGimagebi;
    std::unique_ptr<MyImage> gmyCGimage;             // the edit picture with its pose, or null
    std::unique_ptr<BitmapInfo> gPreviewBitmapInfo;  // the preview's pixels, bottom row first
    std::int32_t OldValue = 0;        // the last accepted scale value; 0: the next one is not limited
    bool gmySuitableSize = true;      // the Fit-size check box
    Fit fit = Fit::Fill;              // what fitting means; each selection begins with filling
    std::int32_t G_CurQuanlity = 90;  // the encoder quality last used ("Quanlity" is quality)
    EditControls controls;
    RectGesture gesture;
    Path editSource;  // the edit picture's file
    Album album;
    EditPort* port = nullptr;  // set at start by a program that shows the controls
    bool redrawHeld = false;   // a batch selects its pictures without showing each
};

PictureState& Pictures();
// Back to the defaults, port included.
void ResetPictures();

// Asks for the edit view to be drawn, unless a batch holds that back.
void RequestRedraw();

}  // namespace lumato::picture
