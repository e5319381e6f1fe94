// The pose that the arguments ask for.
//
// No state; callable from any thread.
#pragma once

#include "cli/arguments.h"
#include "picture/pose.h"

namespace lumato::cli {

inline picture::Pose PoseOf(const PoseArguments& arguments) {
    picture::Pose pose{.rotate = arguments.rotate,
                       .scale = arguments.scale,
                       .x = arguments.x,
                       .y = arguments.y,
                       .rect = std::nullopt};
    if (const auto& rect = arguments.rect)
        pose.rect = store::Rect{(*rect)[0], (*rect)[1], (*rect)[2], (*rect)[3]};
    return pose;
}

}  // namespace lumato::cli
