// Calls that tasks leave for the main thread, which its event loop carries out one by one in the order in
// which they were left; also between several of these. What the calls carry is handed over under a lock of
// our own, so that the thread sanitizer can follow it; Qt's locks it does not see.
//
// Post() from any thread, everything else on the main thread. Calls that are still left go with the object.
#pragma once

#include <QObject>
#include <deque>
#include <functional>
#include <mutex>

namespace lumato::app {

class MainThreadCalls : public QObject {
    Q_OBJECT

  public:
    void Post(std::function<void()> call);

  private:
    Q_INVOKABLE void CarryOutNext();

    std::mutex m_mutex;
    std::deque<std::function<void()>> m_calls;  // guarded by it
};

}  // namespace lumato::app
