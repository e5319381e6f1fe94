// Lets one request for memory fail, by the C++ library's own operators. To be linked into the test.
#pragma once

namespace lumato::test {

// As long as it lives, the n-th request (from 1) of one kind of threads is refused.
class FailingMemory {
  public:
    enum class Of { ThisThread, OtherThreads };

    FailingMemory(Of threads, int n);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    // So many requests there were.
    [[nodiscard]] bool HasFailed() const;
};

}  // namespace lumato::test
