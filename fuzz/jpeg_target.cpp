#include <cstdio>

#include <jpeglib.h>

#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "picture/import.h"

namespace lumato::fuzz {
namespace {

Bytes MakeJpeg(bool progressive, J_COLOR_SPACE space, int restart) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &data, &size);
    jpeg.image_width = 20;
    jpeg.image_height = 18;
    jpeg.input_components = space == JCS_GRAYSCALE ? 1 : space == JCS_CMYK ? 4 : 3;
    jpeg.in_color_space = space;
    jpeg_set_defaults(&jpeg);
    jpeg.restart_in_rows = restart;
    if (progressive)
        jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    // An Exif block that turns the picture, and a profile too short to be one.
    constexpr std::uint8_t kExif[] = {'E',  'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0,
                                      0x12, 1,   3,   0,   1, 0, 0,   0,   6,  0, 0, 0, 0, 0, 0, 0};
    jpeg_write_marker(&jpeg, JPEG_APP0 + 1, kExif, sizeof kExif);
    const Bytes profile(140, 'p');
    jpeg_write_icc_profile(&jpeg, profile.data(), static_cast<unsigned>(profile.size()));
    Bytes row(80);
    for (unsigned y = 0; y < jpeg.image_height; ++y) {
        for (std::size_t x = 0; x < row.size(); ++x)
            row[x] = static_cast<std::uint8_t>(x * y * 3);
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&jpeg, &rows, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    Bytes file(data, data + size);
    std::free(data);
    return file;
}

}  // namespace

void RunJpeg(ByteSpan input) {
    Bytes bytes(input.begin(), input.end());
    bytes.resize(std::max<std::size_t>(bytes.size(), 4));
    bytes[0] = 0xFF, bytes[1] = 0xD8, bytes[2] = 0xFF;  // other contents go to other readers
    const MemoryFile file(bytes);
    picture::BitmapInfo info;
    const auto imported = picture::CreateMyImage(
        file.Name(), false, [](int, int) { return 0.125; }, info);
    Demand(imported.has_value() == !info.pixels.empty(), "pixels come with success alone");
    Demand(imported || !imported.error().message.empty(), "a refusal has its reason");
}

std::vector<Bytes> JpegSeeds() {
    return {MakeJpeg(false, JCS_RGB, 0), MakeJpeg(true, JCS_RGB, 0), MakeJpeg(false, JCS_GRAYSCALE, 1),
            MakeJpeg(true, JCS_GRAYSCALE, 0), MakeJpeg(false, JCS_CMYK, 1)};
}

}  // namespace lumato::fuzz
