#include "tests/support/failing_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local bool s_isCaller = false;
std::atomic<bool> s_ofCaller = false;
std::atomic<int> s_left = 0;  // until it fails; 0 or less: none does

}  // namespace

void* operator new(std::size_t size) {
    if (s_left > 0 && s_isCaller == s_ofCaller && --s_left == 0)
        throw std::bad_alloc();
    if (void* const memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace lumato::test {

FailingMemory::FailingMemory(Of threads, int n) {
    s_isCaller = true;
    s_ofCaller = threads == Of::ThisThread;
    s_left = n;
}

FailingMemory::~FailingMemory() {
    s_left = 0;
    s_isCaller = false;
}

bool FailingMemory::HasFailed() const {
    return s_left <= 0;
}

}  // namespace lumato::test
