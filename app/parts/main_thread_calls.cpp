#include "app/parts/main_thread_calls.h"

#include <utility>

namespace lumato::app {

void MainThreadCalls::Post(std::function<void()> call) {
    {
        const std::lock_guard lock(m_mutex);
        m_calls.push_back(std::move(call));
    }
    QMetaObject::invokeMethod(this, "CarryOutNext", Qt::QueuedConnection);
}

void MainThreadCalls::CarryOutNext() {
    std::function<void()> call;
    {
        const std::lock_guard lock(m_mutex);
        call.swap(m_calls.front());
        m_calls.pop_front();
    }
    call();
}

}  // namespace lumato::app
