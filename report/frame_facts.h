// What the connected frame says of itself, and its space, for programs.
//
// Used by the thread that owns the store.
#pragma once

#include <nlohmann/json.hpp>

namespace lumato::report {

[[nodiscard]] nlohmann::ordered_json FrameFacts();

}  // namespace lumato::report
