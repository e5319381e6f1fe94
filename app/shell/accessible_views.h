// What the views that draw themselves are to a screen reader: graphics, with a name and a description that
// the window keeps up to date; and the note, which is spoken.
//
// Main thread only.
#pragma once

namespace lumato::app {

// From now on the views say what they are. Once is enough.
void InstallAccessibleViews();

}  // namespace lumato::app
