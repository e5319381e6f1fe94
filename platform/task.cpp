#include "platform/task.h"

#include <utility>

namespace lumato::platform {

Task::Task(std::function<void()> body) : m_thread(std::move(body)) {}

void Task::Join() {
    if (m_thread.joinable())
        m_thread.join();
}

}  // namespace lumato::platform
