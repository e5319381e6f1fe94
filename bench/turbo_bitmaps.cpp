// A peer: decodes JPEG files with TurboJPEG and writes them as bitmap files, nothing else.
// Usage: turbo_bitmaps FOLDER FILE...
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <turbojpeg.h>

#include "base/file.h"
#include "jpeg/bitmap_header.h"

int main(int argc, char** argv) {
    using namespace lumato;
    if (argc < 3)
        return 2;
    const tjhandle decompressor = tjInitDecompress();
    std::vector<std::uint8_t> bitmap;
    for (int i = 2; i < argc; ++i) {
        const auto file = ReadFile(argv[i]);
        int width = 0, height = 0, sampling = 0, colours = 0;
        if (!file || tjDecompressHeader3(decompressor, file->data(), file->size(), &width, &height, &sampling,
                                         &colours) != 0)
            return 1;
        const std::size_t rows = jpeg::BitmapStride(width) * static_cast<std::size_t>(height);
        bitmap.resize(jpeg::kBitmapHeaderSize + rows);
        jpeg::PutBitmapHeader(MutableByteSpan(bitmap).first(jpeg::kBitmapHeaderSize), width, height,
                              static_cast<std::uint32_t>(rows));
        if (tjDecompress2(decompressor, file->data(), file->size(), bitmap.data() + jpeg::kBitmapHeaderSize,
                          width, static_cast<int>(jpeg::BitmapStride(width)), height, TJPF_BGR,
                          TJFLAG_BOTTOMUP | TJFLAG_FASTDCT | TJFLAG_FASTUPSAMPLE) != 0)
            return 1;
        std::ofstream out(std::string(argv[1]) + "/" + std::to_string(i) + ".bmp", std::ios::binary);
        out.write(reinterpret_cast<const char*>(bitmap.data()), static_cast<std::streamsize>(bitmap.size()));
        if (!out.flush())
            return 1;
    }
    tjDestroy(decompressor);
    return 0;
}
