// A bus of the desktop or the system, reached beside the main thread: whoever serves it may not answer, and
// nobody waits for that.
//
// Main thread only.
#pragma once

#include <QDBusConnection>
#include <functional>

#include "app/parts/loose_threads.h"

namespace lumato::app {

class MessageBus {
  public:
    using Then = std::function<void(QDBusConnection bus)>;

    // `then` is called once the bus has answered, if it does while this object lives.
    explicit MessageBus(QDBusConnection::BusType type, Then then = {});

    // The bus may be called.
    [[nodiscard]] bool Answers() const { return m_answers; }

  private:
    bool m_answers = false;
    LooseThreads m_reaching{1};
};

}  // namespace lumato::app
