#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "import/import_by_reader.h"
#include "import/stop_question.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/picture_files.h"

namespace lumato::picture {
namespace {

constexpr char kDecoderHasStopped[] = "Damaged: cannot be read: the decoder stopped";

constexpr const char* kPassedOver[] = {
    "fine",
    "uses threads",
    "takes memory",
    "takes a stack",
    "takes addresses",
    "makes other calls",
    "takes shared memory",
    "takes memory files",
    "leaks",
    "raises its limits",
    "opens files",
    "writes anywhere",
    "sends signals",
    "runs what it wrote",
    "has privileges",
    "sends descriptors",
};
constexpr const char* kEnded[] = {
    "aborts",
    "crashes",
    "exits",
    "hangs",
    "sleeps",
    "stops itself",
    "answers late",
    "connects",
    "forks",
    "executes",
    "kills",
    "traces",
    "says nonsense",
    "says too much",
    "says nothing",
    "talks",
    "hands rows over first",
    "ends first",
    "ends early",
    "points beyond the file",
    "points at both",
    "closes the socket",
    "crashes in its rows",
    "hands over too many",
    "begins again",
    "shrinks",
};

class Reader : public ImportTest {
  protected:
    // With a reader that does what the file's text says.
    std::string Plant(const std::string& text) {
        Put(m_file, Bytes(text.begin(), text.end()));
        m_info = {};
        const auto file = PictureFile::Open(m_file);
        const ScaleNeeded whole = [](int, int) { return 1.0; };
        PictureBuilder builder(m_info, false, whole);
        return Outcome(ImportByReader(*file, builder, Processors::One, m_pool));
    }
    static std::size_t Descriptors() {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
    }

    ReaderPool m_pool{{Path(LUMATO_PLANTED)}, std::chrono::milliseconds(3000)};  // machines are busy
};

TEST_F(Reader, WhateverTakesADecoderOverIsCaught) {
    ASSERT_EQ(Plant("fine"), "fine");
    const Bytes whole = m_info.pixels;
    const std::size_t before = Descriptors();
    const test::DiagnosticCapture quiet;
    for (const char* name : kPassedOver) {
        EXPECT_EQ(Plant(name), "fine") << name;
        EXPECT_TRUE(m_info.pixels == whole) << name;
    }
    for (const char* name : kEnded) {
        EXPECT_EQ(Plant(name), kDecoderHasStopped) << name;
        EXPECT_EQ(Plant("fine"), "fine") << "after " << name;
    }
    for (const int call : {SYS_io_uring_setup, SYS_process_vm_readv, SYS_process_vm_writev, SYS_pidfd_open,
                           SYS_bpf, SYS_perf_event_open, SYS_userfaultfd, SYS_mount, SYS_unshare, SYS_setns})
        EXPECT_EQ(Plant("calls " + std::to_string(call)), kDecoderHasStopped) << call;
    EXPECT_LE(Descriptors(), before);
}

TEST_F(Reader, IsKeptUnlessItHasGrown) {
    ASSERT_EQ(Plant("fine"), "fine");
    const auto kept = [&] {
        auto loan = m_pool.Borrow();
        const pid_t id = (**loan).Id();
        loan->GiveBack();
        return id;
    };
    const pid_t first = kept();
    EXPECT_EQ(Plant("fine"), "fine");
    EXPECT_EQ(kept(), first);
    EXPECT_EQ(Plant("leaks"), "fine");
    const pid_t second = kept();
    EXPECT_NE(second, first);
    EXPECT_EQ(Plant("grows while it waits"), "fine");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const pid_t third = kept();
    EXPECT_NE(third, second);
    // One that was ended while it waited costs nobody a picture.
    ::kill(third, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(Plant("fine"), "fine");
}

TEST_F(Reader, EndsAtOnceWhenItsUserWantsIt) {
    static std::atomic<bool> s_stop;
    s_stop = false;
    std::thread user([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        s_stop = true;
    });
    const auto begin = std::chrono::steady_clock::now();
    {
        const StopQuestion question([] { return s_stop.load(); });
        EXPECT_EQ(Plant("sleeps"), "Gone: stopped");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
    user.join();
    EXPECT_EQ(Plant("fine"), "fine");
}

}  // namespace
}  // namespace lumato::picture
