// Makes standard JPEG files of the coefficients of a frame picture stream, with the general JPEG library.
#pragma once

#include <vector>

#include "base/bytes.h"
#include "tests/jpeg/slow_reader.h"

namespace lumato::jpeg {

// The library's entropy coding of each MCU, without byte stuffing. Every MCU is an interval of its own there,
// so that it ends on a byte boundary; its DC values are taken relative to the predictors in the MCU table.
[[nodiscard]] std::vector<std::vector<std::uint8_t>> CodeMcusWithLibrary(const SlowStream& stream);

// The library's picture of the same coefficients: red, green, blue, whole MCUs, top row first. Chrominance is
// not smoothed.
[[nodiscard]] std::vector<std::uint8_t> ShowWithLibrary(const SlowStream& stream);

}  // namespace lumato::jpeg
