#include "cli/stop_on_signal.h"

#include <atomic>

#include "store/transfer.h"

namespace lumato::cli {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM};

std::atomic<bool> hasCome{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void Take(int) {
    hasCome = true;
    store::RequestStop();
    for (const int number : kSignals) {
        struct sigaction now {};
        if (::sigaction(number, nullptr, &now) == 0 && now.sa_handler == Take)
            std::signal(number, SIG_DFL);
    }
}

}  // namespace

StopOnSignal::StopOnSignal() {
    struct sigaction action {};
    action.sa_handler = Take;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &action, &m_before[i]);
        // Whoever started the program, in the background say, wants it left alone.
        if (m_before[i].sa_handler == SIG_IGN)
            ::sigaction(kSignals[i], &m_before[i], nullptr);
    }
}

StopOnSignal::~StopOnSignal() {
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        ::sigaction(kSignals[i], &m_before[i], nullptr);
}

bool StopOnSignal::HasCome() {
    return hasCome;
}

}  // namespace lumato::cli
