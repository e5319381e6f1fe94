// resample_kernels.h in vectors, behind the choice of the widest that the processor has.
//
// No state. The plain twins are in resample_kernels.cpp.
#pragma once

#include "picture/resample_kernels.h"

namespace lumato::picture {

// As many of the bytes as fill whole vectors; returns how many that were.
std::size_t CombineRowsInVectors(const std::uint8_t* source, std::size_t stride,
                                 std::span<const std::int16_t> weights, std::size_t count, std::int16_t* out);
void CombineColumnsInVectors(const std::int16_t* row, const AxisTaps& taps, std::uint8_t* out);
void CombineBlocksInVectors(PixelBlockReader& reader, const PositionRun& run, std::size_t count,
                            std::uint8_t* out);

}  // namespace lumato::picture
