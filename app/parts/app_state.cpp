#include "app/parts/app_state.h"

namespace lumato::app {

AppState& App() {
    static AppState state;
    return state;
}

bool MainThreadOwns() {
    return App().state <= WindowState::Loading;
}

bool IsReady() {
    return App().state == WindowState::Idle || App().state == WindowState::Loading;
}

}  // namespace lumato::app
