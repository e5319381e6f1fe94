// What connecting and the hand-over of the store share.
//
// Used by the thread that owns the store.
#pragma once

namespace lumato::store {

// Releases everything that belonged to the frame: lists, flash object, panel. By the owner of the store.
void ReleaseFrame();

}  // namespace lumato::store
