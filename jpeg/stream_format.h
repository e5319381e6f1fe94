// The frame picture stream: baseline JPEG coding (ITU-T T.81) in the frame's own framing, without markers.
//
//   header, 16 bytes, big-endian fields
//   MCU table, 8 bytes per MCU, little-endian fields      (absent with kOmitMcuTable)
//   table block, 550 bytes: DQT body, then DHT body       (absent with kOmitTables)
//   coded MCUs: Cb, Cr, then the luminance blocks; each MCU filled up to a byte with 1 bits, no byte stuffing
//
// Values; any thread.
#pragma once

#include <cstdint>

namespace lumato::jpeg {

inline constexpr int kHeaderSize = 16;
inline constexpr int G_TableMCUOffSet = kHeaderSize;  // where the MCU table begins
inline constexpr int kMcuEntrySize = 8;
inline constexpr int kTableBlockSize = 550;

// Bits of the mode byte. Bit value 1 doubles the MCU's width, 2 its height; together they are the sampling
// code.
inline constexpr int kWideMcu = 1;
inline constexpr int kTallMcu = 2;
inline constexpr int kOmitTables = 4;  // header bytes 5 and 6 carry the quality scale factor instead
inline constexpr int kOmitMcuTable = 8;

// Luminance blocks per MCU, by sampling code.
inline constexpr int nY[4] = {1, 2, 2, 4};

}  // namespace lumato::jpeg
