// Worker tasks: standard threads behind one small function.
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace lumato::platform {

// A running or ended task. Destroying it waits for the end.
class Task {
  public:
    Task() = default;
    explicit Task(std::function<void()> body);
    // Or, where no thread is to be had, done when this returns.
    [[nodiscard]] static Task OrAtOnce(const std::function<void()>& body);

    // True while there is a task that nobody has waited for.
    [[nodiscard]] bool Joinable() const { return m_thread.joinable(); }
    // Waits for the end; nothing to do without a task. Not from the task itself.
    void Join();

  private:
    std::jthread m_thread;
};

}  // namespace lumato::platform
