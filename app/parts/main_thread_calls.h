// Calls that tasks leave for the main thread, which its event loop carries out one by one in the order in
// which they were left; also between several of these. However many there are, the loop has its turns between
// them. What the calls carry is handed over under a lock of our own, so that the thread sanitizer can follow
// it; Qt's locks it does not see.
//
// Post() from any thread while there is an application, everything else on the main thread. Calls that are
// still left go with the object.
#pragma once

#include <functional>

namespace lumato::app {

class MainThreadCalls {
  public:
    MainThreadCalls() = default;
    ~MainThreadCalls();
    MainThreadCalls(const MainThreadCalls&) = delete;
    MainThreadCalls& operator=(const MainThreadCalls&) = delete;

    void Post(std::function<void()> call);
};

}  // namespace lumato::app
