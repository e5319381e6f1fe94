#include "picture/picture_state.h"

namespace lumato::picture {

PictureState& Pictures() {
    static PictureState state;
    return state;
}

void ResetPictures() {
    Pictures() = PictureState();
}

void RequestRedraw() {
    const PictureState& state = Pictures();
    if (state.port != nullptr && !state.redrawHeld)
        state.port->RedrawEditView();
}

}  // namespace lumato::picture
