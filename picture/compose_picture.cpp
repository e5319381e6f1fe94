#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "picture/draw_my_image.h"

namespace lumato::picture {
namespace {

constexpr double kMostLcdPixels = 1 << 26;

std::vector<std::uint8_t> BlueGreenRed(const std::vector<std::uint8_t>& pixels) {
    std::vector<std::uint8_t> converted(pixels.size() / 4 * 3);
    for (std::size_t i = 0; i * 4 < pixels.size(); ++i) {
        converted[i * 3] = pixels[i * 4 + 3];
        converted[i * 3 + 1] = pixels[i * 4 + 2];
        converted[i * 3 + 2] = pixels[i * 4 + 1];
    }
    return converted;
}

Result<void> CheckLcdSize(int width, int height) {
    if (width >= 1 && height >= 1 && static_cast<double>(width) * height <= kMostLcdPixels)
        return {};
    return Fail(ErrorKind::TooLarge, "no picture can be made for an LCD of " + std::to_string(width) + " x " +
                                         std::to_string(height) + " pixels");
}

}  // namespace

Result<std::vector<std::uint8_t>> RenderLcdBitmap(const store::Rect& rect) {
    const store::StoreState& store = store::Store();
    const auto width = static_cast<int>(store.gmyLcdWidth);
    const auto height = static_cast<int>(store.gmyLcdHeight);
    LUMATO_TRY_VOID(CheckLcdSize(width, height));
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4,
                                     0);
    const Surface surface{.pixels = pixels.data(),
                          .width = width,
                          .height = height,
                          .bytesPerRow = static_cast<std::size_t>(width) * 4,
                          .rows = RowOrder::BottomFirst};
    DrawMyImage(surface, rect.x, rect.y, rect.width, rect.height, Pictures().gmyCGimage.get(), false);
    return BlueGreenRed(pixels);
}

Result<void> ComposeFile(const Path& picture, int lcdWidth, int lcdHeight, const Pose& pose,
                         const Path& bitmap) {
    LUMATO_TRY_VOID(CheckLcdSize(lcdWidth, lcdHeight));
    store::StoreState& store = store::Store();
    store.gmyLcdWidth = static_cast<float>(lcdWidth);
    store.gmyLcdHeight = static_cast<float>(lcdHeight);
    LUMATO_TRY_VOID(SelectOnePicture(picture, false));
    ApplyPose(pose);
    LUMATO_TRY(const auto pixels, RenderLcdBitmap(WithTopLeftCorner(store.gmyDrawrect)));
    return SaveBmpFile(pixels, lcdWidth, lcdHeight, bitmap, Links::Follow);
}

}  // namespace lumato::picture
