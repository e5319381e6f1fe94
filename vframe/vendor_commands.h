// The frame's side of the vendor command blocks: opcode CB (SPI instruction with data to the frame, or
// without), CD (with data from the frame) and CA (set the clock).
//
//   byte 0 opcode, 5 zero (5: checksum), 6 number of instruction bytes, 7 to 9 length of the data phase,
//   10 SPI instruction, 11 to 13 flash address, 15 option of a page program; big-endian, the others zero
//
// Any block that is not one of the known ones to the last byte is refused. One thread at a time.
#pragma once

#include "platform/scsi.h"
#include "vframe/nor_chip.h"

namespace lumato::vframe {

class VendorCommands {
  public:
    // Requires: the chip outlives this object.
    explicit VendorCommands(NorChip& chip) : m_chip(chip) {}

    [[nodiscard]] static bool IsVendorOpcode(std::uint8_t opcode);

    // Requires: a vendor opcode. With FirstHalf an erase or a program does the first half of its work.
    [[nodiscard]] Reply Execute(const platform::ScsiRequest& request, Extent extent);

  private:
    [[nodiscard]] static Reply SetClock(const platform::ScsiRequest& request);
    [[nodiscard]] Reply Checksum(const platform::ScsiRequest& request);
    [[nodiscard]] Reply RunInstruction(const platform::ScsiRequest& request, Extent extent);
    [[nodiscard]] Reply Program(const platform::ScsiRequest& request, Extent extent);

    NorChip& m_chip;
};

// Bytes that the vendor block `block` erases, or 0 when it is no erase.
[[nodiscard]] std::size_t ErasedBytes(ByteSpan block);

// True when the vendor block `block` programs flash.
[[nodiscard]] bool IsProgram(ByteSpan block);

}  // namespace lumato::vframe
