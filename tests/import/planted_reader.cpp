// A reader that each file takes over as its text says: what a fault in a decoder could be made to do.
//
// An attempt that fails is passed over, and the picture comes as if nothing had been; one that succeeds is
// told as the picture's fault.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "reader/serve.h"

namespace lumato::reader {
namespace {

constexpr int kSide = 64;

void SleepFor(int milliseconds) {
    ::poll(nullptr, 0, milliseconds);
}

void Send(const void* bytes, std::size_t size) {
    ::send(kSocket, bytes, size, MSG_NOSIGNAL);
}

void Send(const FromReader& message) {
    const Packet packet = Pack(message);
    Send(packet.data(), packet.size());
}

volatile char* s_nothing = nullptr;
volatile bool s_goesOn = true;
volatile char s_read = 0;

// Until no more is given; what was given stays.
template <class Give>
bool IsGivenMoreThan(std::size_t most, Give give) {
    constexpr std::size_t kPiece = 1 << 20;
    for (std::size_t all = 0; all < most; all += kPiece) {
        void* const piece = give(kPiece);
        if (piece == nullptr || piece == MAP_FAILED)
            return false;
        std::memset(piece, 1, kPiece);
    }
    return true;
}

bool TakesMemory(std::size_t most) {
    return IsGivenMoreThan(most, [](std::size_t size) { return std::malloc(size); });
}

template <int kFlags>
bool TakesPages() {
    return IsGivenMoreThan(300 << 20, [](std::size_t size) {
        return ::mmap(nullptr, size, PROT_READ | PROT_WRITE, kFlags | MAP_ANONYMOUS, -1, 0);
    });
}

bool WritesAnywhere() {
    bool written = false;
    for (int fd = 0; fd < 64; ++fd)
        written = written ||
                  (fd != STDERR_FILENO && fd != kSocket && fd != kMemory && ::pwrite(fd, "x", 1, 0) == 1);
    return written || ::ftruncate(kMemory, 1) == 0 || ::ftruncate(kMemory, 1 << 30) == 0;
}

bool Opens() {
    return ::open("/etc/passwd", O_RDONLY | O_CLOEXEC) >= 0 ||
           ::open("/tmp/lumato-planted", O_CREAT | O_WRONLY | O_CLOEXEC, 0600) >= 0 ||
           ::mkdir("/tmp/lumato-planted", 0700) == 0 || ::unlink("/tmp/lumato-planted") == 0 ||
           ::chdir("/") == 0;
}

bool RunsWhatItWrote() {
    return ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) !=
           MAP_FAILED;
}

bool RaisesItsLimits() {
    const struct rlimit all { RLIM_INFINITY, RLIM_INFINITY };
    return ::setrlimit(RLIMIT_DATA, &all) == 0;
}

bool HasPrivileges() {
    return ::getuid() == 0 && ::setuid(0) == 0 && ::chroot("/") == 0;
}

// Of one page each, so far from each other that every one has tables of its own.
bool TakesTables() {
    constexpr std::size_t kApart = 1 << 30, kPages = 30'000;
    char* const first = reinterpret_cast<char*>(kApart);
    for (std::size_t i = 0; i < kPages; ++i) {
        void* const page = ::mmap(first + i * kApart, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED)
            return false;
        s_read = *static_cast<const volatile char*>(page);
    }
    SleepFor(2000);
    return true;
}

// Which share a stack as far as they can.
bool StartsThreads() {
    constexpr int kFlags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM;
    constexpr std::size_t kStack = 1024, kThreads = 5000;
    static std::array<char, kStack*(kThreads + 1)> s_stacks;
    for (std::size_t i = 1; i <= kThreads; ++i)
        if (::clone([](void*) { return ::poll(nullptr, 0, -1); }, s_stacks.data() + i * kStack, kFlags,
                    nullptr) < 0)
            break;  // the system may have a limit of its own
    SleepFor(2000);
    return true;
}

// One of the system's calls, by its number and what is handed over; of those that end nobody.
bool Calls(const char* text) {
    std::array<long, 7> parts{};
    std::sscanf(text, "calls %ld %ld %ld %ld %ld %ld %ld", &parts[0], &parts[1], &parts[2], &parts[3],
                &parts[4], &parts[5], &parts[6]);
    const auto [call, a, b, c, d, e, f] = parts;
    return ::syscall(call, a, b, c, d, e, f) != -1 || (errno != EPERM && errno != ENOSYS);
}

void Work() {
    SleepFor(100);
    while (s_goesOn) {
    }
}

void Grow() {
    SleepFor(100);
    s_goesOn = TakesMemory(40 << 20);
}

// True: it did what it must not.
struct Attempt {
    std::string_view name;
    bool (*act)();
};
constexpr Attempt kAttempts[] = {
    {"takes memory", [] { return TakesMemory(300 << 20); }},
    {"takes shared memory", TakesPages<MAP_SHARED>},
    {"takes a stack", TakesPages<MAP_PRIVATE | MAP_GROWSDOWN>},
    // Nothing is there, but for the kernel's tables of it.
    {"takes addresses",
     [] {
         constexpr std::size_t kAll = std::size_t{1} << 34, kTable = 2 << 20;
         void* const all =
             ::mmap(nullptr, kAll, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
         for (std::size_t at = 0; all != MAP_FAILED && at < kAll; at += kTable)
             s_read = static_cast<const volatile char*>(all)[at];
         return all != MAP_FAILED;
     }},
    {"takes tables", TakesTables},
    {"starts threads", StartsThreads},
    {"leaks", [] { return !TakesMemory(40 << 20); }},
    {"raises its limits", RaisesItsLimits},
    {"opens files", Opens},
    {"writes anywhere", WritesAnywhere},
#ifdef __x86_64__
    {"enters as 32 bits do",
     [] {
         long answer = 20;  // theirs for the process
         asm volatile("int $0x80" : "+a"(answer) : : "memory");
         return true;
     }},
#endif
    {"runs what it wrote", RunsWhatItWrote},
    {"has privileges", HasPrivileges},
};

struct Plant {
    std::string_view name;
    void (*act)();
};
constexpr Plant kPlants[] = {
    {"uses threads", [] { std::thread([] {}).join(); }},
    {"aborts", [] { std::abort(); }},
    {"crashes", [] { s_read = *s_nothing; }},
    {"exits", [] { std::_Exit(0); }},
    {"hangs", Work},
    {"sleeps", [] { SleepFor(-1); }},
    {"stops itself", [] { std::raise(SIGSTOP); }},
    {"answers late", [] { SleepFor(4500); }},
    {"grows while it waits", [] { std::thread(Grow).detach(); }},
    {"works while it waits", [] { std::thread(Work).detach(); }},
    {"says nonsense", [] { Send("\xFF\xFFnonsense", 10); }},
    {"says too much", [] { Send(std::array<char, 60'000>().data(), 60'000); }},
    {"says nothing", [] { Send("", 0); }},
    {"talks",
     [] {
         while (s_goesOn)
             Send(Line{"and on"});
     }},
    {"hands rows over first", [] { Send(Rows{1}); }},
    {"ends first", [] { Send(End{}); }},
    {"points beyond the file",
     [] {
         Send(Preview{1, 1LL << 40, 1});
     }},
    {"points at both",
     [] {
         Send(Preview{0, 1, 1});
     }},
    {"closes the socket",
     [] {
         ::close(kSocket);
         SleepFor(-1);
     }},
};
// In the midst of its rows.
constexpr Plant kRowPlants[] = {
    {"crashes in its rows", [] { s_read = *s_nothing; }},
    {"hands over too many", [] { Send(Rows{1'000'000}); }},
    {"begins again",
     [] {
         Send(Found{kSide, kSide, 1, Format::Png, 3, 0});
     }},
    {"ends early", [] { Send(End{}); }},
};

template <std::size_t kCount>
void Act(const Plant (&plants)[kCount], std::string_view name) {
    for (const Plant& plant : plants)
        if (plant.name == name)
            plant.act();
}

End ReadPlanted(int descriptor, const Job&, Receiver& receiver) {
    std::array<char, 128> text{};
    const ssize_t size = ::pread(descriptor, text.data(), text.size() - 1, 0);
    if (std::strncmp(text.data(), "calls", 5) == 0 && Calls(text.data()))
        return {Outcome::Damaged, Reason::Broken, "it could"};
    const std::string_view name(text.data(), static_cast<std::size_t>(size < 0 ? 0 : size));
    for (const Attempt& attempt : kAttempts)
        if (attempt.name == name && attempt.act())
            return {Outcome::Damaged, Reason::Broken, "it could"};
    Act(kPlants, name);
    if (!receiver.Begin({kSide, kSide, 1, Format::Png, 3, 0}, {}))
        return {Outcome::Stopped};
    const Coming coming = name == "shrinks"            ? Coming{1, kSide}
                          : name == "divides too much" ? Coming{kSide / 2, kSide / 2, 2}
                          : name == "divides wrongly"  ? Coming{kSide - 1, kSide, 1}
                                                       : Coming{kSide, kSide};
    if (!receiver.Decoded(coming))
        return {Outcome::Stopped};
    const std::vector<std::uint8_t> row(kSide * 3, 0x55);
    for (int y = 0; y < coming.height; ++y) {
        if (y == 9)
            Act(kRowPlants, name);
        if (!receiver.Row(row.data()))
            return {Outcome::Stopped};
    }
    return {};
}

}  // namespace
}  // namespace lumato::reader

int main() {
    using namespace lumato::reader;
    return Serve({[](void (*)(const char*)) { return true; }, ReadPlanted});
}
