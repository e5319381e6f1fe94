// The frame's LCD: which pictures a frame with this flash would show, found in the flash by itself.
//
// No state outside the object; separate ones may run on different threads.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"

namespace lumato::vframe {

// Pixels of 3 bytes (red, green, blue), top row first, without padding.
struct Screen {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

class Display {
  public:
    // Reads the device information and the picture table. Requires: the bytes outlive this object.
    // Errors: Unsupported (too short, or no LCD size, or a table outside the flash).
    [[nodiscard]] static Result<Display> PowerOn(ByteSpan flash);

    // How many pictures can be shown: those that lie in the picture area and decode at the LCD's size.
    [[nodiscard]] std::size_t Count() const;

    // The picture at a position among these, from 1. Errors: NotFound, with the number there are.
    [[nodiscard]] Result<Screen> Show(std::size_t position) const;

  private:
    Display(int width, int height, std::vector<ByteSpan> streams);

    int m_width;
    int m_height;
    std::vector<ByteSpan> m_streams;  // of the table's slots that point into the picture area
};

}  // namespace lumato::vframe
