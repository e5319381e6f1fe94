#include "reader/heif_reduced.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <libheif/heif.h>

#include "reader/mapped_file.h"

namespace lumato::reader {
namespace {

struct Release {
    void operator()(heif_context* context) const { heif_context_free(context); }
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
    void operator()(heif_image* image) const { heif_image_release(image); }
};
template <class Object>
using Held = std::unique_ptr<Object, Release>;

constexpr heif_channel kChannels[] = {heif_channel_R, heif_channel_G, heif_channel_B};

bool HasPlanes(const heif_image* image, int width, int height) {
    return std::ranges::all_of(kChannels, [=](heif_channel channel) {
        return heif_image_get_width(image, channel) == width &&
               heif_image_get_height(image, channel) == height &&
               heif_image_get_bits_per_pixel(image, channel) == 8;
    });
}

// Of `times` x `times` samples (a power of two up to 8) the means, and of what is left of them at the far
// edges; every third byte from `mean` on.
void ReducePlane(const heif_image* image, heif_channel channel, int width, int height, int times,
                 std::uint8_t* mean) {
    int stride = 0;
    const std::uint8_t* row = heif_image_get_plane_readonly(image, channel, &stride);
    std::vector<std::uint16_t> columns(static_cast<std::size_t>(width));
    for (int y = 0; y < height; y += times) {
        const int rows = std::min(times, height - y);
        std::fill(columns.begin(), columns.end(), std::uint16_t{0});
        for (int i = 0; i < rows; ++i, row += stride)
            for (std::size_t x = 0; x < columns.size(); ++x)
                columns[x] = static_cast<std::uint16_t>(columns[x] + row[x]);
        const std::uint16_t* column = columns.data();
        for (int x = 0; x < width; x += times, mean += std::size(kChannels)) {
            const int count = std::min(times, width - x);
            int sum = rows * count / 2;
            for (int i = 0; i < count; ++i)
                sum += *column++;
            *mean = static_cast<std::uint8_t>(sum / (rows * count));
        }
    }
}

Held<heif_image> Decode(const MappedFile& file, int threads) {
    const Held<heif_context> context(heif_context_alloc());
    heif_context_set_max_decoding_threads(context.get(), threads > 1 ? threads : 0);
    heif_image_handle* found = nullptr;
    if (heif_context_read_from_memory_without_copy(context.get(), file.Data(), file.Size(), nullptr).code !=
            heif_error_Ok ||
        heif_context_get_primary_image_handle(context.get(), &found).code != heif_error_Ok)
        return nullptr;
    const Held<heif_image_handle> handle(found);
    heif_image* image = nullptr;
    if (heif_image_handle_get_luma_bits_per_pixel(found) != 8 ||
        heif_image_handle_has_alpha_channel(found) != 0 ||
        heif_decode_image(found, &image, heif_colorspace_RGB, heif_chroma_444, nullptr).code != heif_error_Ok)
        return nullptr;
    return Held<heif_image>(image);
}

Image Reduced(const heif_image* image, int width, int height, int times) {
    Image rgb(vips_image_new_memory());
    vips_image_init_fields(rgb.get(), (width + times - 1) / times, (height + times - 1) / times, 3,
                           VIPS_FORMAT_UCHAR, VIPS_CODING_NONE, VIPS_INTERPRETATION_sRGB, 1, 1);
    if (vips_image_write_prepare(rgb.get()) != 0)
        return nullptr;
    VipsPel* band = rgb->data;
    for (const heif_channel channel : kChannels)
        ReducePlane(image, channel, width, height, times, band++);
    return rgb;
}

void CopyProfile(VipsImage* from, VipsImage* to) {
    const void* profile = nullptr;
    std::size_t size = 0;
    if (vips_image_get_typeof(from, VIPS_META_ICC_NAME) != 0 &&
        vips_image_get_blob(from, VIPS_META_ICC_NAME, &profile, &size) == 0)
        vips_image_set_blob_copy(to, VIPS_META_ICC_NAME, profile, size);
}

}  // namespace

std::uint8_t ReduceHeif(Image& image, int descriptor, const Job& job, int most) {
    if (most < 2)
        return 0;
    const int times = most < 4 ? 2 : most < 8 ? 4 : 8;
    const int width = vips_image_get_width(image.get()), height = vips_image_get_height(image.get());
    const MappedFile file(descriptor, job.fileSize);
    if (file.Data() == nullptr)
        return 0;
    try {
        const Held<heif_image> decoded = Decode(file, job.threads);
        if (!decoded || !HasPlanes(decoded.get(), width, height))
            return 0;
        Image reduced = Reduced(decoded.get(), width, height, times);
        if (!reduced)
            return 0;
        CopyProfile(image.get(), reduced.get());
        image = std::move(reduced);
        return static_cast<std::uint8_t>(8 / times);
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

}  // namespace lumato::reader
