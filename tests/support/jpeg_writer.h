// JPEG files of pixels that are known, of every coding that cameras and programs write.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

#include "base/bytes.h"

namespace lumato::test {

using Bytes = std::vector<std::uint8_t>;

// Pixels of `bands` bytes, top row first.
struct Raw {
    int width = 0;
    int height = 0;
    int bands = 3;
    Bytes pixels = {};
};

struct JpegOptions {
    int orientation = 0;  // 0: no Exif block
    bool progressive = false;
    bool separateScans = false;  // sequential, a scan per component
    bool adobe = false;          // four bands: YCCK with Adobe's marker instead of bare inks
    bool optimized = false;      // Huffman tables of its own
    int across = 2, down = 2;    // samples of brightness to one of colour, of three bands
    int restartRows = 0;
    int quality = 97;
    Bytes profile = {};
    Bytes comment = {};
};

// Exif with one tag, little-endian: the TIFF header, one entry (274, SHORT, 1), no next directory.
inline Bytes ExifBlock(int orientation) {
    Bytes exif = {'E',  'x', 'i', 'f', 0, 0, 'I', 'I', 0x2A, 0, 8, 0, 0, 0, 1, 0,
                  0x12, 1,   3,   0,   1, 0, 0,   0,   0,    0, 0, 0, 0, 0, 0, 0};
    exif[24] = static_cast<std::uint8_t>(orientation);
    return exif;
}

inline void SetColours(jpeg_compress_struct& jpeg, const Raw& raw, const JpegOptions& options) {
    const J_COLOR_SPACE space = raw.bands == 1 ? JCS_GRAYSCALE : raw.bands == 3 ? JCS_RGB : JCS_CMYK;
    jpeg.input_components = raw.bands;
    jpeg.in_color_space = space;
    jpeg_set_defaults(&jpeg);
    if (raw.bands == 4)
        jpeg_set_colorspace(&jpeg, options.adobe ? JCS_YCCK : JCS_CMYK);
    if (raw.bands == 4 && !options.adobe)
        jpeg.write_Adobe_marker = FALSE;
    if (raw.bands == 3) {
        jpeg.comp_info[0].h_samp_factor = options.across;
        jpeg.comp_info[0].v_samp_factor = options.down;
    }
    jpeg_set_quality(&jpeg, options.quality, TRUE);
    jpeg.restart_in_rows = options.restartRows;
    jpeg.optimize_coding = options.optimized ? TRUE : FALSE;
}

inline constexpr jpeg_scan_info kSeparate[] = {
    {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};

inline Bytes MakeJpeg(const Raw& raw, const JpegOptions& options = {}) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &data, &size);
    jpeg.image_width = static_cast<unsigned>(raw.width);
    jpeg.image_height = static_cast<unsigned>(raw.height);
    SetColours(jpeg, raw, options);
    if (options.progressive)
        jpeg_simple_progression(&jpeg);
    if (options.separateScans) {
        jpeg.scan_info = kSeparate;
        jpeg.num_scans = 3;
    }
    jpeg_start_compress(&jpeg, TRUE);
    if (options.orientation > 0) {
        const Bytes exif = ExifBlock(options.orientation);
        jpeg_write_marker(&jpeg, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
    }
    if (!options.profile.empty())
        jpeg_write_icc_profile(&jpeg, options.profile.data(), static_cast<unsigned>(options.profile.size()));
    if (!options.comment.empty())
        jpeg_write_marker(&jpeg, JPEG_COM, options.comment.data(),
                          static_cast<unsigned>(options.comment.size()));
    for (int y = 0; y < raw.height; ++y) {
        auto* row = const_cast<std::uint8_t*>(raw.pixels.data()) + std::ptrdiff_t{y} * raw.width * raw.bands;
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    Bytes bytes(data, data + size);
    std::free(data);
    return bytes;
}

}  // namespace lumato::test
