#include "tests/jpeg/photographs.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

#include <jpeglib.h>

#include "jpeg/bitmap_header.h"

namespace lumato::jpeg {
namespace {

namespace fs = std::filesystem;

// The installed files are sound: libjpeg's own handling of errors, which ends the program, will do.
TestPicture Crop(const fs::path& path, int width, int height) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_stdio_src(&jpeg, file.get());
    jpeg_read_header(&jpeg, TRUE);
    jpeg.out_color_space = JCS_EXT_BGR;
    jpeg_start_decompress(&jpeg);
    TestPicture picture{width, height, Bytes(BitmapStride(width) * static_cast<std::size_t>(height))};
    Bytes row(std::size_t{jpeg.output_width} * 3);
    const int left = (static_cast<int>(jpeg.output_width) - width) / 2;
    const int top = (static_cast<int>(jpeg.output_height) - height) / 2;
    for (int y = 0; y < top + height; ++y) {
        JSAMPROW rows[] = {row.data()};
        jpeg_read_scanlines(&jpeg, rows, 1);
        if (y >= top)
            std::copy_n(row.begin() + left * 3, width * 3, picture.At(0, y - top));
    }
    jpeg_destroy_decompress(&jpeg);
    return picture;
}

}  // namespace

std::vector<TestPicture> PhotographCrops(int width, int height) {
    std::vector<TestPicture> crops;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator("/usr/share/backgrounds/mate/nature", none)) {
        if (entry.path().extension() == ".jpg")
            crops.push_back(Crop(entry.path(), width, height));
    }
    return crops;
}

}  // namespace lumato::jpeg
