#include "store/store_state.h"

#include <optional>
#include <utility>

namespace lumato::store {
namespace {

std::optional<StoreState>& Instance() {
    static std::optional<StoreState> instance(std::in_place);
    return instance;
}

}  // namespace

StoreState& Store() {
    return *Instance();
}

void ResetStore() {
    Instance().emplace();
}

}  // namespace lumato::store
