#include "platform/task.h"

#include <system_error>
#include <utility>

namespace lumato::platform {

Task::Task(std::function<void()> body) : m_thread(std::move(body)) {}

Task Task::OrAtOnce(const std::function<void()>& body) {
    try {
        return Task(body);
    } catch (const std::system_error&) {
        body();
        return {};
    }
}

void Task::Join() {
    if (m_thread.joinable())
        m_thread.join();
}

}  // namespace lumato::platform
