// A second reading of frame picture streams, written close to ITU-T T.81 and without any of the codec's code:
// bit by bit, in double precision.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/bytes.h"

namespace lumato::jpeg {

using SlowBlock = std::array<int, 64>;  // natural order

struct SlowMcu {
    std::array<int, 3> predictors{};  // Y, Cb, Cr, as the MCU table has them, sign-extended
    int dataOffset = 0;               // as the MCU table has it
    std::size_t entryAt = 0;          // where that entry lies in the stream
    ByteSpan coded;                   // with its fill bits
    std::vector<SlowBlock> blocks;    // Cb, Cr, luminance; with true DC values
};

struct SlowStream {
    int across = 0;  // the MCU grid
    int down = 0;
    int wide = 1;  // luminance blocks per MCU and direction
    int tall = 1;
    std::array<std::array<int, 64>, 2> quant{};  // natural order
    std::vector<SlowMcu> mcus;
    std::size_t unread = 0;  // bytes behind the last MCU
};

// Reads a stream that has its tables and its MCU table; fails the test when it is not sound. Borrows
// `stream`.
[[nodiscard]] SlowStream SlowRead(ByteSpan stream);

// The same of one that may be damaged behind its header, but has a front that was found sound: with the MCUs
// that its data hold.
[[nodiscard]] SlowStream SlowReadDamaged(ByteSpan stream);

// The samples of a block, not rounded and not bounded, level shift undone.
[[nodiscard]] std::array<double, 64> SlowInverseDct(const SlowBlock& block, const std::array<int, 64>& quant);

// The coefficients of a block of level-shifted samples, before quantization.
[[nodiscard]] std::array<double, 64> SlowForwardDct(const std::array<double, 64>& samples);

}  // namespace lumato::jpeg
