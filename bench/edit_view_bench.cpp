// The edit view's steps: how long one turn or one change of scale of a photograph takes until its pixels are
// there. Prints one row of the comparison's table. Usage: edit_view_bench PHOTOGRAPH
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "picture/add_pictures.h"
#include "picture/draw_my_image.h"

namespace {

using namespace lumato::picture;

double StepMilliseconds(const MyImage& image, std::vector<std::uint8_t>& pixels) {
    const auto width = static_cast<int>(kCanvasWidth);
    const Surface surface{.pixels = pixels.data(),
                          .width = width,
                          .height = static_cast<int>(kCanvasHeight),
                          .bytesPerRow = static_cast<std::size_t>(width) * 4,
                          .rows = RowOrder::TopFirst};
    const auto start = std::chrono::steady_clock::now();
    std::fill(pixels.begin(), pixels.end(), std::uint8_t{0});
    DrawMyImage(surface, 0, 0, kCanvasWidth, kCanvasHeight, &image, true);
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void Print(const char* what, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    std::printf(
        "| edit view, one step of %s, 24 MP | median %.1f ms, 99th of 100 %.1f ms | 60 steps a second | |\n",
        what, times[times.size() / 2], times[times.size() * 99 / 100]);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    const auto info = ImportForEditView(argv[1], 800, 480);
    if (!info)
        return 1;
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(kCanvasWidth * kCanvasHeight) * 4);
    const float fit = FitScale(static_cast<int>((*info)->width), (*info)->height, 800, 480);
    std::vector<double> turns;
    std::vector<double> scales;
    for (int step = 0; step < 300; ++step) {
        MyImage image;
        image.image = info->get();
        image.scaleX = -fit;
        image.scaleY = fit;
        image.rotation = 180.0F + static_cast<float>(step);
        turns.push_back(StepMilliseconds(image, pixels));
        image.rotation = 180;
        image.scaleY = fit * (1 + static_cast<float>(step) / 300);
        image.scaleX = -image.scaleY;
        scales.push_back(StepMilliseconds(image, pixels));
    }
    Print("rotate", turns);
    Print("scale", scales);
    return 0;
}
