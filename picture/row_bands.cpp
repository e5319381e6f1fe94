#include "picture/row_bands.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace lumato::picture {
namespace {

constexpr int kMostThreads = 4;  // more would wait for each other's memory
constexpr int kBandRows = 32;    // fewer would cost more than they shorten the wait for the last one

}  // namespace

// Who is free takes the next band: a new thread may be kept waiting for a processor for longer than a whole
// drawing takes, and then finds nothing left.
void DrawInBands(int rows, const std::function<void(int, int)>& draw, const IsWanted& isWanted) {
    const int processors = static_cast<int>(std::min(std::thread::hardware_concurrency(), 64U));
    const int most = std::min({processors, kMostThreads, rows / (2 * kBandRows)});
    std::atomic<int> next = 0;
    std::mutex mutex;
    std::exception_ptr failure;  // of any thread: it leaves through the caller's
    const auto drawBands = [&](const IsWanted& goOn) {
        try {
            for (int begin = next.fetch_add(kBandRows); begin < rows; begin = next.fetch_add(kBandRows)) {
                if (goOn && !goOn())
                    next = rows;  // for the others, too
                else
                    draw(begin, std::min(begin + kBandRows, rows));
            }
        } catch (...) {
            next = rows;
            const std::lock_guard lock(mutex);
            failure = std::current_exception();
        }
    };
    std::vector<std::thread> threads;
    try {
        for (int i = 1; i < most; ++i)
            threads.emplace_back(drawBands, IsWanted());
    } catch (const std::exception&) {  // no thread to be had, or no memory for one: fewer will do
    }
    drawBands(isWanted);
    for (std::thread& thread : threads)
        thread.join();
    if (failure)
        std::rethrow_exception(failure);
}

}  // namespace lumato::picture
