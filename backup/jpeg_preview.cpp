#include "backup/jpeg_preview.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace lumato::backup {
namespace {

constexpr int kPreviewQuality = 90;

struct PreviewErrors {
    jpeg_error_mgr base{};
    std::jmp_buf end{};
};

[[noreturn]] void EndPreview(j_common_ptr compressor) {
    std::longjmp(reinterpret_cast<PreviewErrors*>(compressor->err)->end, 1);
}

// In a function of its own, without objects that a jump would pass over.
bool Compress(jpeg_compress_struct& compressor, const jpeg::DecodedPicture& picture, unsigned char*& bytes,
              unsigned long& size) {
    PreviewErrors errors;
    compressor.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = EndPreview;
    if (setjmp(errors.end) != 0)
        return false;
    jpeg_create_compress(&compressor);
    jpeg_mem_dest(&compressor, &bytes, &size);
    compressor.image_width = static_cast<JDIMENSION>(picture.width);
    compressor.image_height = static_cast<JDIMENSION>(picture.height);
    compressor.input_components = 3;
    compressor.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&compressor);
    jpeg_set_quality(&compressor, kPreviewQuality, TRUE);
    jpeg_start_compress(&compressor, TRUE);
    while (compressor.next_scanline < compressor.image_height) {
        const std::size_t row =
            std::size_t{compressor.next_scanline} * static_cast<std::size_t>(picture.stride) * 3;
        auto* pixels = const_cast<JSAMPROW>(picture.pixels.data() + row);
        jpeg_write_scanlines(&compressor, &pixels, 1);
    }
    jpeg_finish_compress(&compressor);
    return true;
}

}  // namespace

std::vector<std::uint8_t> JpegOf(const jpeg::DecodedPicture& picture) {
    jpeg_compress_struct compressor{};
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    std::vector<std::uint8_t> file;
    if (Compress(compressor, picture, bytes, size))
        file.assign(bytes, bytes + size);
    jpeg_destroy_compress(&compressor);
    std::free(bytes);
    return file;
}

}  // namespace lumato::backup
