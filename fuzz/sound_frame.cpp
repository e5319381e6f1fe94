#include "fuzz/sound_frame.h"

#include "tests/support/picture_table.h"
#include "vframe/new_frame.h"

namespace lumato::fuzz {

Bytes SoundFlash() {
    vframe::NewFrame frame;
    frame.lcdWidth = kLcdWidth;
    frame.lcdHeight = kLcdHeight;
    frame.flashSize = kFlashSize;
    Bytes flash = vframe::MakeFlash(frame).value();
    test::PutTable(flash, kTable);
    const std::vector<Bytes> streams = StreamSeeds();
    std::size_t address = kTable + test::kTableBytes;
    for (std::size_t slot = 1; slot <= 3; ++slot)
        address = test::PutPicture(flash, kTable, slot, streams[slot - 1], address);
    return flash;
}

}  // namespace lumato::fuzz
