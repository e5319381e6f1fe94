#include "app/parts/screen_image.h"

#include "picture/import.h"

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

QImage ReadBitmap(const Path& file, QSize bound) {
    picture::BitmapInfo info;
    const auto whole = [](int, int) { return 1.0; };
    if (!picture::CreateMyImage(file, false, whole, info))
        return {};
    const QImage image = ImageOf(info);
    if (!bound.isValid() || (image.width() <= bound.width() && image.height() <= bound.height()))
        return image;
    return image.scaled(bound, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

}  // namespace lumato::app
