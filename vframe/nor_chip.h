// A serial NOR flash chip with the common instruction set, behind the bridge that splits programs into pages
// and waits for the chip between two commands.
//
// As strict as a data sheet: programming only clears bits; erase, program and write status need the
// write-enable latch and consume it; what is not allowed is silently not done, as a chip has no way to say
// no. Addresses wrap at the chip's end in reads and sums. One thread at a time.
#pragma once

#include <cstdint>

#include "vframe/flash_image.h"
#include "vframe/sense.h"

namespace lumato::vframe {

// Bits of the status register.
inline constexpr std::uint8_t kStatusWriteEnabled = 0x02;     // WEL
inline constexpr std::uint8_t kStatusBlockProtection = 0x1C;  // BP0 to BP2
inline constexpr std::uint8_t kStatusRegisterLock = 0x80;     // SRWD; the chip's WP pin is not wired to it

// How much of a command is done: a fault can stop one halfway.
enum class Extent { Whole, FirstHalf };

class NorChip {
  public:
    // A chip that has just got power: everything is protected.
    explicit NorChip(FlashImage image);

    [[nodiscard]] const FlashImage& Image() const { return m_image; }
    // Lets go of the image file; nothing can be changed from now on.
    void Close() { m_image.Close(); }

    // The register as instruction 05h reads it. Busy is never seen: the bridge has waited.
    [[nodiscard]] std::uint8_t Status() const { return m_status; }
    void WriteEnable();
    void WriteStatus(std::uint8_t value);

    // Erases the unit (a power of two, in bytes) that holds `address`. Refused with kOutOfRange when it does
    // not lie wholly on the chip, with kWriteError when the image cannot be written.
    [[nodiscard]] Reply Erase(std::size_t unit, std::uint32_t address, Extent extent);
    // Programs all of `data`. Refused as Erase and as Read.
    [[nodiscard]] Reply Program(std::uint32_t address, ByteSpan data);

    // Refused with kReadError when the image cannot be read. At the chip's end they go on at its start.
    [[nodiscard]] Reply Read(std::uint32_t address, MutableByteSpan data) const;
    [[nodiscard]] tl::expected<std::uint16_t, Sense> Sum(std::uint32_t address, std::size_t length) const;

  private:
    [[nodiscard]] bool OnChip(std::uint64_t address, std::uint64_t length) const;
    // Takes the latch back; true when the change may happen.
    [[nodiscard]] bool ConsumeLatch();
    [[nodiscard]] bool Protected(std::uint64_t address, std::uint64_t length) const;
    [[nodiscard]] Reply Store(std::size_t address, ByteSpan bytes);

    FlashImage m_image;
    std::uint8_t m_status = kStatusBlockProtection;
};

}  // namespace lumato::vframe
