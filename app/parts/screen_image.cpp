#include "app/parts/screen_image.h"

#include "import/import.h"

namespace lumato::app {

QImage ImageOf(const picture::BitmapInfo& info) {
    if (info.pixels.empty())
        return {};
    QImage image(info.heldWidth, info.heldHeight, QImage::Format_RGB32);
    for (int y = 0; y < info.heldHeight; ++y) {
        const std::uint8_t* from = info.pixels.data() + static_cast<std::size_t>(y) * info.bytesPerRow;
        auto* to = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < info.heldWidth; ++x, from += 4)
            to[x] = qRgb(from[1], from[2], from[3]);
    }
    return image;
}

QImage ImageOf(const jpeg::DecodedPicture& picture) {
    return QImage(picture.pixels.data(), picture.width, picture.height, picture.stride * 3,
                  QImage::Format_BGR888)
        .convertToFormat(QImage::Format_RGB32);
}

QImage ImageOf(const std::vector<std::uint8_t>& composed, int width, int height) {
    return QImage(composed.data(), width, height, width * 3, QImage::Format_BGR888)
        .mirrored()
        .convertToFormat(QImage::Format_RGB32);
}

QImage ReadBitmap(const Path& file) {
    picture::BitmapInfo info;
    const auto whole = [](int, int) { return 1.0; };
    return picture::CreateMyImage(file, false, whole, info) ? ImageOf(info) : QImage();
}

}  // namespace lumato::app
