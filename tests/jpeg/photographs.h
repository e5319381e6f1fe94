// Real pictures for the codec's tests.
#pragma once

#include <vector>

#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {

// A piece from the middle of every installed photograph, at native size; none without photographs.
[[nodiscard]] std::vector<TestPicture> PhotographCrops(int width, int height);

}  // namespace lumato::jpeg
