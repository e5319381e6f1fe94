// Small known pictures, and surfaces to draw them on, as a person sees them.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "picture/draw_my_image.h"
#include "tests/support/picture_files.h"

namespace lumato::picture {

inline BitmapInfo MakePicture(int width, int height, const std::function<Colour(int, int)>& colourAt) {
    BitmapInfo info;
    info.width = static_cast<std::uint32_t>(width);
    info.height = info.heldHeight = height;
    info.heldWidth = width;
    info.bytesPerRow = info.width * 4;
    info.dataSize = info.bytesPerRow * static_cast<std::uint32_t>(height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            info.pixels.push_back(77);  // the ignored byte must not show
            for (const int channel : colourAt(x, y))
                info.pixels.push_back(static_cast<std::uint8_t>(channel));
        }
    return info;
}

// Red top left, green top right, blue bottom left, white bottom right.
inline BitmapInfo Corners(int width, int height) {
    return MakePicture(width, height, [=](int x, int y) {
        const bool left = x < width / 2;
        return y < height / 2 ? (left ? kRed : kGreen) : (left ? kBlue : kWhite);
    });
}

// The pose that the controls give.
inline MyImage Posed(const BitmapInfo& info, float rotate, float scale, float x = 0, float y = 0) {
    return {rotate + 180, -scale, scale, x, -y, &info};
}

struct Canvas {
    int width, height;
    std::vector<std::uint8_t> pixels;
    Surface surface;

    Canvas(int w, int h, RowOrder rows, PixelOrder order = PixelOrder::AlphaFirst)
        : width(w), height(h), pixels(static_cast<std::size_t>(w * h * 4), 0) {
        surface = {pixels.data(), w, h, static_cast<std::size_t>(w) * 4, rows, order};
    }
    // As a person sees it, from the top left corner.
    [[nodiscard]] Colour See(int column, int row) const {
        const int line = surface.rows == RowOrder::TopFirst ? row : height - 1 - row;
        const std::uint8_t* p = surface.At(column, line);
        return surface.order == PixelOrder::AlphaFirst ? Colour{p[1], p[2], p[3]} : Colour{p[2], p[1], p[0]};
    }
    [[nodiscard]] int Alpha(int column, int row) const { return surface.At(column, row)[0]; }
};

inline Canvas EditView(const MyImage& image, double ratio = 1) {
    Canvas canvas(static_cast<int>(580 * ratio), static_cast<int>(400 * ratio), RowOrder::TopFirst);
    canvas.surface.pixelsPerCanvasPixel = ratio;
    DrawMyImage(canvas.surface, 0, 0, 580, 400, &image, true);
    return canvas;
}

}  // namespace lumato::picture
