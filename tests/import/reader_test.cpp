#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "import/import_by_reader.h"
#include "import/stop_question.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/picture_files.h"

namespace lumato::picture {
namespace {

constexpr std::chrono::milliseconds kPatience{3000};  // machines are busy
constexpr char kDecoderHasStopped[] = "Damaged: cannot be read: the decoder stopped";

// clang-format off
constexpr const char* kPassedOver[] = {
    "fine", "uses threads", "takes memory", "takes a stack", "takes addresses", "takes shared memory",
    "leaks", "raises its limits", "opens files", "writes anywhere", "runs what it wrote", "has privileges",
};
constexpr const char* kEnded[] = {
    "aborts", "crashes", "exits", "hangs", "sleeps", "stops itself", "answers late", "takes tables",
    "starts threads", "says nonsense", "says too much", "says nothing", "talks", "hands rows over first",
    "ends first", "ends early", "points beyond the file", "points at both", "closes the socket",
    "crashes in its rows", "hands over too many", "begins again", "shrinks",
    "divides too much", "divides wrongly",
#ifdef __x86_64__
    "enters as 32 bits do",
#endif
};
// clang-format on

// By their numbers and what is handed over.
const struct {
    const char* outcome;
    std::vector<std::array<long, 7>> calls;
} kCalls[] = {
    // clang-format off
    {kDecoderHasStopped,
     {{SYS_io_uring_setup}, {SYS_process_vm_readv}, {SYS_process_vm_writev}, {SYS_pidfd_open}, {SYS_bpf}, {SYS_kill},
      {SYS_perf_event_open}, {SYS_userfaultfd}, {SYS_mount}, {SYS_unshare}, {SYS_setns}, {SYS_execve}, {SYS_execveat},
      {SYS_ptrace}, {SYS_connect}, {SYS_socketpair, AF_UNIX, SOCK_STREAM}, {SYS_socket, AF_INET, SOCK_STREAM},
#ifdef __x86_64__
      {SYS_fork}, {SYS_vfork}, {0x40000000 | SYS_getpid},
#endif
      {SYS_clone, SIGCHLD}, {SYS_clone, CLONE_VM}}},
    {"fine",
     {{SYS_openat2}, {SYS_name_to_handle_at}, {SYS_linkat}, {SYS_statx}, {SYS_keyctl}, {SYS_msgget}, {SYS_semget},
      {SYS_shmget}, {SYS_setsid}, {SYS_prlimit64}, {SYS_pidfd_getfd}, {SYS_splice}, {SYS_sendmmsg}, {SYS_clone3},
      {SYS_memfd_create}, {SYS_rt_sigqueueinfo}, {SYS_sched_setaffinity}, {SYS_prctl, PR_SET_DUMPABLE, 1},
      {SYS_fcntl, reader::kSocket, F_SETOWN, 1}, {SYS_sendmsg, reader::kSocket},
      {SYS_sendto, reader::kSocket, 0, 0, 0, 1, 110}}},
    // clang-format on
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

    ReaderPool m_pool{{Path(LUMATO_PLANTED)}, kPatience};
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
    for (const auto& row : kCalls)
        for (const auto& call : row.calls) {
            std::string text = "calls";
            for (const long number : call)
                text += ' ' + std::to_string(number);
            const auto isQuick = [&] {  // all of it was ended, not a thread
                const auto begin = std::chrono::steady_clock::now();
                EXPECT_EQ(Plant(text), row.outcome) << text;
                return std::chrono::steady_clock::now() - begin < kPatience;
            };
            EXPECT_TRUE(isQuick() || isQuick()) << text;
        }
    // Whoever looks at those that wait has one for a moment, now and then.
    for (int tries = 0; tries < 100 && Descriptors() > before; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
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
    EXPECT_EQ(Plant("calls " + std::to_string(SYS_getpid)), "Damaged: broken: it could");
    EXPECT_NE(kept(), second);
    for (const char* name : {"grows while it waits", "works while it waits"}) {
        EXPECT_EQ(Plant(name), "fine");
        const pid_t old = kept();
        for (int tries = 0; tries < 100 && ::kill(old, 0) == 0; ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(::kill(old, 0), -1) << name;
    }
    EXPECT_EQ(Plant("fine"), "fine");
    const pid_t third = kept();
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
