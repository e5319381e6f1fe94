// The input is a list of patches (address, length, bytes) to the flash of a sound frame with three pictures,
// so that the fuzzer reaches every field and still meets whole pictures.

#include "fuzz/input.h"
#include "fuzz/store_program.h"
#include "fuzz/targets.h"
#include "tests/support/picture_table.h"
#include "tests/support/temporary_folder.h"
#include "vframe/new_frame.h"

namespace lumato::fuzz {
namespace {

constexpr std::uint32_t kFlashSize = 0x20000;
constexpr std::uint32_t kTable = 0x10000;

Bytes SoundFlash() {
    vframe::NewFrame frame;
    frame.lcdWidth = 17;
    frame.lcdHeight = 9;
    frame.flashSize = kFlashSize;
    Bytes flash = vframe::MakeFlash(frame).value();
    test::PutTable(flash, kTable);
    const std::vector<Bytes> streams = StreamSeeds();
    std::size_t address = kTable + test::kTableBytes;
    for (std::size_t slot = 1; slot <= 3; ++slot)
        address = test::PutPicture(flash, kTable, slot, streams[slot - 1], address);
    return flash;
}

// What the whole flash is made of before the patches.
enum Base : std::uint8_t { kSound, kErased, kNoise };

Bytes FlashOf(Input& input) {
    static const Bytes sound = SoundFlash();
    Bytes flash = sound;
    const std::uint8_t base = input.Byte() & 3;
    if (base == kErased)
        std::fill(flash.begin(), flash.end(), std::uint8_t{0xFF});
    std::uint32_t state = 1;
    for (std::size_t i = 512; base == kNoise && i < flash.size(); ++i)
        flash[i] = static_cast<std::uint8_t>((state = state * 1664525U + 1013904223U) >> 24);
    Patch(input, flash);
    return flash;
}

void DeleteAndDownload(vframe::VirtualBus& bus) {
    const store::StoreState& store = store::Store();
    const int before = store.gmyTotalePictureNum;
    if (before == 0)
        return;
    store::Store().gmyCurrentSelectItem = 1;
    store::DeletePictures();
    Demand(store.gmyTotalePictureNum == before - 1, "a deletion takes one picture");
    DownloadNow(bus);
}

}  // namespace

void RunFrame(ByteSpan bytes) {
    static const test::TemporaryFolder home;
    Input input(bytes);
    const Bytes flash = FlashOf(input);
    StoreProgram program(home.Get());
    platform::BusService& service = program.Bus().Plug(vframe::FlashImage::InMemory(flash));
    program.Settle();
    vframe::VirtualFrame& frame = program.Bus().Frame(service);
    Demand(frame.FlashBytes() == flash, "connecting changes no byte");
    if (!IsOnline())
        return;
    const store::StoreState& store = store::Store();
    Demand(store.gmyTotalePictureNum == store.gmyPictureData->count && store.gmyTotalePictureNum <= 510,
           "the list is counted");
    const std::int32_t table = store.G_PicListAddress;
    Demand(table >= 0x10000 && table + 0x10000 <= static_cast<std::int32_t>(kFlashSize),
           "the table lies on the flash");
    DeleteAndDownload(program.Bus());
    Demand(std::equal(flash.begin(), flash.begin() + table, frame.FlashBytes().begin()),
           "firmware is never written");
}

std::vector<Bytes> FrameSeeds() {
    return {
        {kSound},
        {kErased},
        {kNoise},
        {kSound, 0, 0, 39, 1, 0x20},                                       // 4 KB erases
        {kSound, 0, 0, 43, 3, 0x00, 0x00, 0x02},                           // flash size
        {kSound, 0, 1, 0, 8, 'D', 'P', 'F', 'H', 0xDE, 0x00, 0x30, 0x00},  // firmware header
        {kSound, 1, 0, 16, 1, 0},                                          // a hole in the table
        {kSound, 1, 0, 40, 8, 1, 0, 0x10, 1, 0, 0xFF, 0xFF, 0},            // a picture past the end
        {kSound, 1, 15, 254, 1, 0},                                        // an invalidated table
        {kSound, 0, 0, 35, 4, 0xFF, 0xFF, 0xFF, 0xFF},                     // a huge display
    };
}

}  // namespace lumato::fuzz
