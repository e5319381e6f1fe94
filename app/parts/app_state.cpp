#include "app/parts/app_state.h"

namespace lumato::app {

AppState& App() {
    static AppState state;
    return state;
}

bool MainThreadOwns() {
    return App().onlineTasks == 0 && !App().transferStarted;
}

}  // namespace lumato::app
