// Preloaded into the window's program, writes to the file LUMATO_LONG_WORK how long the main thread worked
// between two waits for events, where that was long: a line each, the clock's seconds and the milliseconds of
// its work.
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr double kLong = 8;  // milliseconds

double Milliseconds(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

template <class Wait>
int Measured(const Wait& wait) {
    static double since = 0;
    if (gettid() != getpid())
        return wait();
    const double worked = Milliseconds(CLOCK_THREAD_CPUTIME_ID) - since;
    const char* name = std::getenv("LUMATO_LONG_WORK");
    std::FILE* file = worked > kLong && name != nullptr ? std::fopen(name, "a") : nullptr;
    if (file != nullptr) {
        std::fprintf(file, "%.3f %.1f\n", Milliseconds(CLOCK_MONOTONIC) / 1e3, worked);
        std::fclose(file);
    }
    const int outcome = wait();
    since = Milliseconds(CLOCK_THREAD_CPUTIME_ID);
    return outcome;
}

template <class Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int poll(pollfd* files, nfds_t count, int timeout) {
    static auto* const next = Next<decltype(poll)>("poll");
    return Measured([&] { return next(files, count, timeout); });
}

int ppoll(pollfd* files, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    static auto* const next = Next<decltype(ppoll)>("ppoll");
    return Measured([&] { return next(files, count, timeout, signals); });
}
}
