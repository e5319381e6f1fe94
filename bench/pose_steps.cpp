// How long one step of an arrow under the edit view takes until its pixels are there: turning and scaling a
// photograph in an edit view of 580 x 400. On a dense screen with QT_SCALE_FACTOR=2.
//
//     pose_steps PHOTOGRAPH
#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

#include "app/edit_view.h"
#include "picture/add_pictures.h"
#include "picture/draw_my_image.h"
#include "picture/picture_state.h"
#include "store/store_state.h"

namespace lumato::picture {
namespace {

constexpr int kSteps = 100;

double MillisecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// One step, until the view has its pixels on the window.
void Measure(const char* what, app::EditView& view, const std::function<void(int)>& step) {
    std::vector<double> times;
    for (int i = 1; i <= kSteps; ++i) {
        step(i);
        times.push_back(MillisecondsOf([&] {
            QSignalSpy shown(&view, &app::EditView::PictureShown);
            view.Redraw();
            while (shown.isEmpty())
                QCoreApplication::processEvents();
            view.repaint();
        }));
        QCoreApplication::processEvents();
    }
    std::ranges::sort(times);
    std::printf("%-20s median %6.2f ms   99th of 100 %6.2f ms\n", what, times[kSteps / 2], times[kSteps - 2]);
}

int Run(const char* file) {
    store::Store().gmyLcdWidth = 480;
    store::Store().gmyLcdHeight = 234;
    const Result<void> selected = SelectOnePicture(file, true);
    if (!selected) {
        std::fprintf(stderr, "pose_steps: %s\n", selected.error().message.c_str());
        return 1;
    }
    MyImage& image = *Pictures().gmyCGimage;
    const BitmapInfo& info = *image.image;
    app::EditView view;
    view.resize(static_cast<int>(kCanvasWidth), static_cast<int>(kCanvasHeight));
    view.show();
    QTest::qWait(500);
    std::printf("%u x %d, held as %d x %d, at %.0fx\n", info.width, info.height, info.heldWidth,
                info.heldHeight, view.devicePixelRatioF());
    const float fit = image.scaleY;
    const auto scale = [&](float to) {
        image.scaleX = -to;
        image.scaleY = to;
    };
    Measure("turning, fitted", view, [&](int i) { image.rotation = static_cast<float>(180 + i); });
    image.rotation = 180;
    Measure("scaling, straight", view, [&](int i) { scale(fit * (1 + static_cast<float>(i) * 0.005F)); });
    image.rotation = 197;
    Measure("scaling, turned", view, [&](int i) { scale(fit * (1 + static_cast<float>(i) * 0.005F)); });
    return 0;
}

}  // namespace
}  // namespace lumato::picture

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc != 2) {
        std::fputs("usage: pose_steps PHOTOGRAPH\n", stderr);
        return 2;
    }
    return lumato::picture::Run(argv[1]);
}
