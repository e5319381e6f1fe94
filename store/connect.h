// What connecting and the hand-over of the store share.
#pragma once

namespace lumato::store {

// Releases everything that belonged to the frame: lists, flash object, panel. By the owner of the store.
void ReleaseFrame();

}  // namespace lumato::store
