#include "reader/heif_reduced.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

#include <libheif/heif.h>

#include "reader/box_reducer.h"
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

bool HasPlanes(const heif_image* image, Size size) {
    return std::ranges::all_of(kChannels, [=](heif_channel channel) {
        return heif_image_get_width(image, channel) == size.width &&
               heif_image_get_height(image, channel) == size.height &&
               heif_image_get_bits_per_pixel(image, channel) == 8;
    });
}

// Into every third byte from `mean` on.
void ReducePlane(const heif_image* image, heif_channel channel, Size full, int divisor, std::uint8_t* mean) {
    BoxReducer reducer(full, divisor, 1);
    int stride = 0;
    const std::uint8_t* row = heif_image_get_plane_readonly(image, channel, &stride);
    const int width = DividedUp(full, divisor).width;
    for (int y = 0; y < full.height; ++y, row += stride) {
        if (!reducer.Add(row))
            continue;
        for (int x = 0; x < width; ++x, mean += std::size(kChannels))
            *mean = reducer.Row()[x];
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

Image Reduced(const heif_image* image, Size full, int divisor) {
    Image rgb(vips_image_new_memory());
    const Size kept = DividedUp(full, divisor);
    vips_image_init_fields(rgb.get(), kept.width, kept.height, 3, VIPS_FORMAT_UCHAR, VIPS_CODING_NONE,
                           VIPS_INTERPRETATION_sRGB, 1, 1);
    if (vips_image_write_prepare(rgb.get()) != 0)
        return nullptr;
    VipsPel* band = rgb->data;
    for (const heif_channel channel : kChannels)
        ReducePlane(image, channel, full, divisor, band++);
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

bool ReduceHeif(Image& image, int descriptor, const Job& job, int divisor) {
    const Size full{vips_image_get_width(image.get()), vips_image_get_height(image.get())};
    if (divisor < 2)
        return false;
    const MappedFile file(descriptor, job.fileSize);
    if (file.Data() == nullptr)
        return false;
    try {
        const Held<heif_image> decoded = Decode(file, job.threads);
        if (!decoded || !HasPlanes(decoded.get(), full))
            return false;
        Image reduced = Reduced(decoded.get(), full, divisor);
        if (!reduced)
            return false;
        CopyProfile(image.get(), reduced.get());
        image = std::move(reduced);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace lumato::reader
