#include "picture/row_bands.h"

#include <algorithm>
#include <system_error>
#include <thread>
#include <vector>

namespace lumato::picture {
namespace {

// More would wait for each other's memory; fewer rows are drawn before a thread has started.
constexpr int kMostBands = 4;
constexpr int kLeastRows = 64;

}  // namespace

void DrawInBands(int rows, const std::function<void(int, int)>& draw) {
    const int processors = static_cast<int>(std::min(std::thread::hardware_concurrency(), 64U));
    const int bands = std::clamp(std::min(processors, rows / kLeastRows), 1, kMostBands);
    std::vector<std::thread> threads;
    int begin = 0;
    for (int band = 1; band < bands; ++band) {
        const int end = rows * band / bands;
        try {
            threads.emplace_back(draw, begin, end);
        } catch (const std::system_error&) {  // no thread to be had: this one draws the rest
            break;
        }
        begin = end;
    }
    draw(begin, rows);
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace lumato::picture
