#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "import/import.h"
#include "import/import_jpeg.h"
#include "tests/support/jpeg_writer.h"

namespace lumato::fuzz {
namespace {

// Turned by its Exif block, and with a profile too short to be one.
Bytes Seed(int bands, bool progressive, int restartRows) {
    test::Raw raw{.width = 20, .height = 18, .bands = bands};
    for (int i = 0; i < raw.width * raw.height * bands; ++i)
        raw.pixels.push_back(static_cast<std::uint8_t>(i * i / 7));
    return test::MakeJpeg(raw, {.orientation = 6,
                                .progressive = progressive,
                                .restartRows = restartRows,
                                .profile = Bytes(140, 'p')});
}

}  // namespace

void RunJpeg(ByteSpan input) {
    Bytes bytes(input.begin(), input.end());
    bytes.resize(std::max<std::size_t>(bytes.size(), 4));
    bytes[0] = 0xFF, bytes[1] = 0xD8, bytes[2] = 0xFF;  // other contents go to other readers
    const MemoryFile file(bytes);
    const auto held = bytes.size() % 2 == 0 ? picture::Held::AsShown : picture::Held::AsStored;
    picture::BitmapInfo info;
    const auto imported = picture::CreateMyImage(
        file.Name(), false, [](int, int) { return 0.125; }, info, picture::Processors::All, held);
    Demand(imported.has_value() == !info.pixels.empty(), "pixels come with success alone");
    Demand(imported || !imported.error().message.empty(), "a refusal has its reason");

    picture::BitmapInfo byLibjpeg;
    const auto path = picture::PictureFile::Open(file.Name());
    const picture::ScaleNeeded eighth = [](int, int) { return 0.125; };
    picture::PictureBuilder builder(byLibjpeg, false, eighth, held);
    const auto sound = picture::ImportJpegByLibjpeg(*path, builder);
    Demand(sound.has_value() == imported.has_value(), "what libjpeg refuses is refused, and nothing else");
    Demand(sound || sound.error().message.English() == imported.error().message.English(),
           "for the same reason");
    Demand(!sound || byLibjpeg.pixels == info.pixels, "pixels are those that libjpeg makes");
}

std::vector<Bytes> JpegSeeds() {
    return {Seed(3, false, 0), Seed(3, true, 0), Seed(1, false, 1), Seed(1, true, 0), Seed(4, false, 1)};
}

}  // namespace lumato::fuzz
