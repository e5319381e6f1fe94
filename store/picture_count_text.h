// The total field's text: pictures against the frame's limit, or flash in use against its size. For the
// thread that owns the store.
#pragma once

#include <string>

namespace lumato::store {

// "003/040", or "1024K/2048K" for a frame without a limit. By the owner of the store.
[[nodiscard]] std::string SpaceText();

}  // namespace lumato::store
