// Pictures of libvips, owned; and its operations, one behind the other.
// An object belongs to one thread; libvips may compute in its own.
#pragma once

#include <memory>

#include <vips/vips.h>

namespace lumato::reader {

// Owns a reference to a GObject of libvips.
struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Image = std::unique_ptr<VipsImage, Unreference>;
using Source = std::unique_ptr<VipsSource, Unreference>;

// Takes over what an operation made, if it succeeded.
template <class Operation>
bool Apply(Image& image, Operation operation) {
    VipsImage* out = nullptr;
    if (operation(image.get(), &out) != 0)
        return false;
    image.reset(out);
    return true;
}

inline bool ExtractBands(Image& image, int first, int count) {
    return Apply(image, [=](VipsImage* in, VipsImage** out) {
        return vips_extract_band(in, out, first, "n", count, nullptr);
    });
}

}  // namespace lumato::reader
