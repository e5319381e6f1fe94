// Reads and writes that are verified by the frame's own checksum, with three attempts each.
//
// They work on the connected frame, on the thread that owns it; without one they fail silently. A command
// that failed fails its attempt: a checksum that did not arrive is no checksum, and a read that failed is not
// data.
#pragma once

namespace lumato::flash {

inline constexpr int kBlockSize = 65536;
inline constexpr int kAttempts = 3;

// What ReadFlashData() and WriteDataToFlash() have done since the program started.
struct TransferCount {
    int blocks = 0;   // pieces read or written
    int retries = 0;  // attempts beyond the first of each
};
[[nodiscard]] const TransferCount& Transferred();

// True when the frame's 16-bit sum over [address, address + length) equals that of `data`; if not, "Verify
// false" is printed.
bool JugeIfWriteIsSuccess(unsigned char* data, int length, int address);  // "Juge" is judge

// Fills `data` with `length` (1 to 65,536) flash bytes. False after three failed attempts; `data` is then
// unspecified.
bool ReadFlashData(unsigned char* data, int length, int address);

// Makes the flash at `address` equal to `data` and keeps the rest of its 64 KB block when the address lies
// inside one. Refused (false, no command) when the data would leave its block or the range that may be
// written.
bool WriteDataToFlash(unsigned char* data, int length, int address);

}  // namespace lumato::flash
