#include <algorithm>
#include <filesystem>

#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "import/import.h"
#include "picture/bitmap_file.h"

namespace lumato::fuzz {
namespace {

constexpr std::uint32_t kLongestSide = 2000;

}  // namespace

void RunBitmap(ByteSpan input) {
    Bytes bytes(input.begin(), input.end());
    bytes.resize(std::max<std::size_t>(bytes.size(), 26));
    bytes[0] = 'B', bytes[1] = 'M';  // other contents go to other readers
    // Sizes that a sound file may have and that only take time are left out. The oldest header has 16 bits a
    // side, and other fields there.
    const MutableByteSpan all(bytes);
    for (const unsigned at : {18U, 22U}) {
        const std::uint32_t side = GetLe32(all.subspan(at));
        if (GetLe32(all.subspan(14)) != 12 && side > kLongestSide && side < 0xFFFFF000)
            PutLe32(all.subspan(at), side % kLongestSide);
    }
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
    std::vector<Bytes> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(LUMATO_BITMAPS))
        seeds.push_back(ReadFile(entry.path()).value());
    // The folder's order is nobody's. (g++ 12 warns of the comparison of vectors.)
    std::ranges::sort(seeds, [](const Bytes& one, const Bytes& other) {
        return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end());
    });
    return seeds;
}

}  // namespace lumato::fuzz
