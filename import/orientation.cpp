#include "import/orientation.h"

#include <memory>

#include <libexif/exif-data.h>

namespace lumato::picture {

Axes AxesOf(Orientation orientation) {
    switch (orientation) {
        case Orientation::Upright:
            return {false, false, false};
        case Orientation::MirroredAcross:
            return {false, true, false};
        case Orientation::HalfTurn:
            return {false, true, true};
        case Orientation::MirroredDown:
            return {false, false, true};
        case Orientation::Transposed:
            return {true, false, false};
        case Orientation::QuarterTurnRight:
            return {true, false, true};
        case Orientation::Transversed:
            return {true, true, true};
        case Orientation::QuarterTurnLeft:
            return {true, true, false};
    }
    return {false, false, false};
}

Orientation OrientationOf(int value) {
    return value >= 1 && value <= 8 ? static_cast<Orientation>(value) : Orientation::Upright;
}

Orientation ExifOrientation(ByteSpan exif, Orientation unsaid) {
    const std::unique_ptr<ExifData, void (*)(ExifData*)> data(
        exif_data_new_from_data(exif.data(), static_cast<unsigned>(exif.size())), exif_data_unref);
    if (!data)
        return unsaid;
    const ExifEntry* entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (!entry || entry->format != EXIF_FORMAT_SHORT || entry->size < 2)
        return unsaid;
    return OrientationOf(exif_get_short(entry->data, exif_data_get_byte_order(data.get())));
}

bool SwapsSides(Orientation orientation) {
    return AxesOf(orientation).swapped;
}

Placement PlacementFor(Orientation orientation, Size stored, bool flipRows) {
    const Axes axes = AxesOf(orientation);
    const Size shown = axes.swapped ? stored.Swapped() : stored;
    const std::ptrdiff_t row = shown.width;
    const std::ptrdiff_t lastRow = (std::ptrdiff_t{shown.height} - 1) * row;

    Placement placement;
    placement.stepX = axes.swapped ? row : 1;
    placement.stepY = axes.swapped ? 1 : row;
    if (axes.backwardsX) {
        placement.start += (stored.width - 1) * placement.stepX;
        placement.stepX = -placement.stepX;
    }
    if (axes.backwardsY) {
        placement.start += (stored.height - 1) * placement.stepY;
        placement.stepY = -placement.stepY;
    }
    if (flipRows) {
        // Row r becomes row last - r; what steps along rows is left alone.
        const std::ptrdiff_t startRow = placement.start / row;
        placement.start += lastRow - 2 * startRow * row;
        (axes.swapped ? placement.stepX : placement.stepY) *= -1;
    }
    return placement;
}

}  // namespace lumato::picture
