#include "fuzz/sound_frame.h"

#include <algorithm>

#include "vframe/new_frame.h"

namespace lumato::fuzz {

Bytes SoundFlash() {
    vframe::NewFrame frame;
    frame.lcdWidth = kLcdWidth;
    frame.lcdHeight = kLcdHeight;
    frame.flashSize = kFlashSize;
    Bytes flash = vframe::MakeFlash(frame).value();
    Bytes table(4096, 0);
    table[0] = 'A', table[1] = 'B', table[2] = 'F', table[3] = 'S';
    table[4094] = 0x55, table[4095] = 0xAA;
    const std::vector<Bytes> streams = StreamSeeds();
    std::uint32_t address = kTable + 4096;
    for (std::size_t slot = 0; slot < 3; ++slot) {
        const MutableByteSpan entry = MutableByteSpan(table).subspan(16 + 8 * slot, 8);
        entry[0] = 1;
        PutLe24(entry.subspan(1), address);
        PutLe24(entry.subspan(5), static_cast<std::uint32_t>(streams[slot].size()));
        std::copy(streams[slot].begin(), streams[slot].end(), flash.begin() + address);
        address += static_cast<std::uint32_t>(streams[slot].size());
    }
    std::copy(table.begin(), table.end(), flash.begin() + kTable);
    return flash;
}

}  // namespace lumato::fuzz
