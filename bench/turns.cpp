#include "bench/turns.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>

#include <dlfcn.h>
#include <poll.h>
#include <unistd.h>

namespace lumato::bench {

Turn g_longest;
bool g_listsTurns = false;

namespace {

Turn began;  // when the present one did

double Milliseconds(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

template <class Wait>
int Measured(const Wait& wait) {
    if (gettid() != getpid())
        return wait();
    const double now = Milliseconds(CLOCK_MONOTONIC);
    const double work = Milliseconds(CLOCK_THREAD_CPUTIME_ID) - began.work;
    const double away = now - began.away;
    g_longest = {std::max(g_longest.work, work), std::max(g_longest.away, away)};
    if (g_listsTurns && work > 12)
        std::fprintf(stderr, "turn %.6f %.6f %.1f\n", (now - away) / 1e3, now / 1e3, work);
    const int outcome = wait();
    began = {Milliseconds(CLOCK_THREAD_CPUTIME_ID), Milliseconds(CLOCK_MONOTONIC)};
    return outcome;
}

}  // namespace
}  // namespace lumato::bench

extern "C" {

int poll(pollfd* files, nfds_t count, int timeout) {
    static auto* const next = reinterpret_cast<decltype(poll)*>(dlsym(RTLD_NEXT, "poll"));
    return lumato::bench::Measured([&] { return next(files, count, timeout); });
}

int ppoll(pollfd* files, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    static auto* const next = reinterpret_cast<decltype(ppoll)*>(dlsym(RTLD_NEXT, "ppoll"));
    return lumato::bench::Measured([&] { return next(files, count, timeout, mask); });
}
}
