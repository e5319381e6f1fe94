#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "picture/bitmap_file.h"
#include "picture/import.h"

namespace lumato::fuzz {
namespace {

void Put(Bytes& file, std::size_t at, std::uint32_t value) {
    PutLe32(MutableByteSpan(file).subspan(at), value);
}

// A bitmap of 5 x 3 pixels with 40 bytes of info header and whatever follows.
Bytes Bitmap(std::uint32_t bits, std::uint32_t coding, std::size_t palette, const Bytes& pixels) {
    Bytes file(54 + palette, 0x35);
    file[0] = 'B', file[1] = 'M';
    Put(file, 10, static_cast<std::uint32_t>(file.size()));
    Put(file, 14, 40);
    Put(file, 18, 5);
    Put(file, 22, 3);
    Put(file, 26, bits << 16 | 1);
    Put(file, 30, coding);
    Put(file, 34, 0);
    Put(file, 46, 0);
    Put(file, 50, 0);
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

}  // namespace

void RunBitmap(ByteSpan input) {
    Bytes bytes(input.begin(), input.end());
    bytes.resize(std::max<std::size_t>(bytes.size(), 26));
    bytes[0] = 'B', bytes[1] = 'M';  // other contents go to other readers
    // Sizes that a sound file may have and that only take time are left out.
    if (const std::uint32_t side = GetLe32(ByteSpan(bytes).subspan(18)); side > 5000 && side < 0xFFFFF000)
        PutLe32(MutableByteSpan(bytes).subspan(18), side % 5000);
    const MemoryFile file(bytes);

    picture::BitmapInfo info;
    const auto imported = picture::CreateMyImage(
        file.Name(), bytes.size() % 2 == 0, [](int, int) { return 0.25; }, info);
    Demand(imported.has_value() == !info.pixels.empty(), "pixels come with success alone");
    if (imported)
        Demand(
            info.pixels.size() == std::size_t{info.bytesPerRow} * static_cast<std::size_t>(info.heldHeight),
            "an imported picture has its pixels");
    const int width = bytes[18] + 1, height = bytes[22] + 1;
    if (const auto array = picture::LoadPicFromDir(file.Name(), width, height))
        Demand(array->size() ==
                   static_cast<std::size_t>(picture::BitmapStride(width)) * static_cast<std::size_t>(height),
               "a loaded bitmap has its rows");
}

std::vector<Bytes> BitmapSeeds() {
    const Bytes rows(60, 0x9C);
    return {Bitmap(24, 0, 0, rows),
            Bitmap(32, 0, 0, rows),
            Bitmap(16, 0, 0, rows),
            Bitmap(16, 3, 12, rows),
            Bitmap(32, 3, 12, rows),
            Bitmap(8, 0, 1024, rows),
            Bitmap(4, 0, 64, rows),
            Bitmap(1, 0, 8, rows),
            Bitmap(8, 1, 1024, {5, 1, 0, 0, 0, 3, 7, 8, 9, 0, 0, 2, 1, 1, 2, 4, 0, 1}),
            Bitmap(4, 2, 64, {5, 0x12, 0, 0, 0, 5, 0x12, 0x34, 0x50, 0, 0, 1})};
}

}  // namespace lumato::fuzz
