#include "import/memory_share.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>

#include "import/stop_question.h"

namespace lumato::picture {
namespace {

// Never destroyed: threads that nobody waits for may give back at the end.
struct Stock {
    std::mutex mutex;
    std::condition_variable changed;
    std::int64_t taken = 0;
    std::list<const MemoryShare*> waiting;  // in their order
};

Stock& TheStock() {
    static auto& stock = *new Stock;
    return stock;
}

}  // namespace

MemoryShare::MemoryShare(std::int64_t bytes) : m_bytes(std::min(bytes, kAll)) {
    Stock& stock = TheStock();
    std::unique_lock lock(stock.mutex);
    const auto place = stock.waiting.insert(stock.waiting.end(), this);
    const auto isFree = [&] { return stock.waiting.front() == this && stock.taken + m_bytes <= kAll; };
    constexpr std::chrono::milliseconds kBetweenQuestions{50};
    while (!stock.changed.wait_for(lock, kBetweenQuestions, isFree) && !StopQuestion::IsStopped()) {
    }
    if (isFree())
        stock.taken += m_bytes;
    else
        m_bytes = -1;
    stock.waiting.erase(place);
    lock.unlock();
    stock.changed.notify_all();
}

MemoryShare::~MemoryShare() {
    if (!IsGranted())
        return;
    Stock& stock = TheStock();
    {
        const std::lock_guard lock(stock.mutex);
        stock.taken -= m_bytes;
    }
    stock.changed.notify_all();
}

}  // namespace lumato::picture
