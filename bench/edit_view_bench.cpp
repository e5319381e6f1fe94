// The edit view's steps: how long one turn or one change of scale of a photograph takes until its pixels are
// there, in the composer alone (processor time) and in a view of 580 x 400, or another size, on the window;
// the longest that the view then keeps the main thread until it is drawn finely; and how long after the last
// of several steps the preview shows what the frame will make of it. On a dense screen with
// QT_SCALE_FACTOR=2. Prints rows of the comparisons' table. Usage: edit_view_bench PHOTOGRAPH [WIDTH HEIGHT]
#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <vector>

#include "app/edit/edit_view.h"
#include "app/list/preview.h"
#include "picture/add_pictures.h"
#include "picture/draw_my_image.h"
#include "picture/picture_state.h"
#include "store/store_state.h"

namespace lumato::picture {
namespace {

constexpr int kSteps = 300;

double ProcessorMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

double WallMilliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// `pose` takes the edit picture to a step, `draw` is what is measured.
void Measure(const char* what, double (*milliseconds)(), const std::function<void(int)>& pose,
             const std::function<void()>& draw) {
    std::vector<double> times;
    for (int step = 1; step <= kSteps; ++step) {
        pose(step);
        const double start = milliseconds();
        draw();
        times.push_back(milliseconds() - start);
        QCoreApplication::processEvents();
    }
    std::ranges::sort(times);
    std::printf("| edit view, %s | median %.1f ms, 99th of 100 %.1f ms | 60 steps a second | |\n", what,
                times[kSteps / 2], times[kSteps * 99 / 100]);
}

void DrawAlone(const MyImage& image) {
    static std::vector<std::uint8_t> pixels(static_cast<std::size_t>(kCanvasWidth * kCanvasHeight) * 4);
    const Surface surface{.pixels = pixels.data(),
                          .width = static_cast<int>(kCanvasWidth),
                          .height = static_cast<int>(kCanvasHeight),
                          .bytesPerRow = static_cast<std::size_t>(kCanvasWidth) * 4};
    std::ranges::fill(pixels, std::uint8_t{0});
    DrawMyImage(surface, 0, 0, kCanvasWidth, kCanvasHeight, &image, true);
}

// Until the view has its pixels on the window.
void Show(app::EditView& view) {
    QSignalSpy shown(&view, &app::EditView::PictureShown);
    view.Redraw();
    while (shown.isEmpty())
        QCoreApplication::processEvents();
    view.repaint();
}

// Of main-thread work, from the last step until every pixel is drawn.
void MeasureRefining(const char* what, app::EditView& view) {
    double longest = 0, whole = 0;
    Show(view);
    while (!view.IsFine()) {
        const double start = WallMilliseconds();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        longest = std::max(longest, WallMilliseconds() - start);
        whole += WallMilliseconds() - start;
    }
    std::printf("| edit view, %s, drawn finely | longest step %.1f ms, %.0f ms in all | | |\n", what, longest,
                whole);
}

// As a hand moves the picture: a step every 16 ms, and each is drawn and looked at on its way.
void MeasurePreview(const char* what, const std::function<void(int)>& pose, app::EditView& view) {
    constexpr int kMoves = 60, kStepsEach = 5;
    app::Preview preview;
    preview.resize(300, 180);
    preview.show();
    QTest::qWait(200);
    std::vector<double> times;
    for (int move = 0; move < kMoves; ++move) {
        double last = 0;
        QSignalSpy shown(&preview, &app::Preview::Changed);
        for (int step = 1; step <= kStepsEach; ++step) {
            QTest::qWait(16);
            shown.clear();
            pose(move * kStepsEach + step);
            last = WallMilliseconds();
            view.Redraw();
            preview.FollowEditPicture(0, QString());
        }
        // What comes until this has been asked for is of earlier steps.
        QCoreApplication::processEvents();
        while (shown.isEmpty())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);  // who waits takes no processor
        preview.repaint();
        times.push_back(WallMilliseconds() - last);
        QTest::qWait(200);
    }
    std::ranges::sort(times);
    std::printf("| preview, %s, after the last step | median %.0f ms, 95th of 100 %.0f ms | 100 ms | |\n",
                what, times[kMoves / 2], times[kMoves * 95 / 100]);
}

int Run(const char* file, QSize size) {
    store::Store().gmyLcdWidth = 800;
    store::Store().gmyLcdHeight = 480;
    store::Store().gmyDrawrect = RestingRect(800, 480);
    if (const Result<void> selected = SelectOnePicture(file, true); !selected) {
        std::fprintf(stderr, "edit_view_bench: %s\n", selected.error().message.English().c_str());
        return 1;
    }
    MyImage& image = *Pictures().gmyCGimage;
    const float fit = image.scaleY;
    const auto turn = [&](int step) { image.rotation = static_cast<float>(180 + step); };
    const auto scale = [&](int step) {
        image.scaleY = fit * (1 + static_cast<float>(step) / kSteps);
        image.scaleX = -image.scaleY;
    };
    app::EditView view;
    view.resize(size);
    view.show();
    QTest::qWait(500);
    const auto alone = [&] { DrawAlone(image); };
    const auto shown = [&] { Show(view); };
    Measure("turning, the composer", ProcessorMilliseconds, turn, alone);
    Measure("turning, until it is shown", WallMilliseconds, turn, shown);
    image.rotation = 197;
    MeasureRefining("a turned picture", view);
    Measure("scaling a turned picture, the composer", ProcessorMilliseconds, scale, alone);
    Measure("scaling a turned picture, until it is shown", WallMilliseconds, scale, shown);
    image.rotation = 180;
    Measure("scaling, the composer", ProcessorMilliseconds, scale, alone);
    Measure("scaling, until it is shown", WallMilliseconds, scale, shown);
    MeasureRefining("a straight picture", view);
    MeasurePreview("scaling", scale, view);
    image.scaleY = fit;
    image.scaleX = -fit;
    MeasurePreview("turning", turn, view);
    return 0;
}

}  // namespace
}  // namespace lumato::picture

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc != 2 && argc != 4) {
        std::fputs("usage: edit_view_bench PHOTOGRAPH [WIDTH HEIGHT]\n", stderr);
        return 2;
    }
    const QSize size = argc == 4 ? QSize(std::atoi(argv[2]), std::atoi(argv[3])) : QSize(580, 400);
    return lumato::picture::Run(argv[1], size);
}
