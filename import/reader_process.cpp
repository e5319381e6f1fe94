#include "import/reader_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/diagnostics.h"
#include "base/printable.h"
#include "import/messages.h"
#include "import/stop_question.h"

namespace lumato::picture {
namespace {

constexpr std::size_t kMostWords = 4096;
constexpr std::int64_t kUsualData = 64 << 20;  // where the system does not tell
// What one that has read all formats keeps asked for: 78 MB of threads and heaps, measured.
constexpr std::int64_t kMostAskedKept = 96 << 20;
// Addresses that heaps and stacks of threads keep for themselves without asking for memory. The kernel's
// tables of whatever is mapped are memory, too, and nobody else bounds them.
constexpr std::int64_t kMostReserved = 1 << 30;
constexpr std::chrono::milliseconds kAwake{100};  // of processor time: who uses less sleeps

// Memory as a file that keeps its size, whoever holds it.
Descriptor MemoryFile(const char* name, std::size_t size) {
    Descriptor memory(::memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (memory.Get() < 0 || ::ftruncate(memory.Get(), static_cast<off_t>(size)) != 0 ||
        ::fcntl(memory.Get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        return Descriptor();
    return memory;
}

// What a program is started with. Nothing of this one's reaches it but what is named here.
class Beginning {
  public:
    Beginning() {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawnattr_init(&m_attributes);
        sigset_t all, none;
        ::sigfillset(&all);
        ::sigemptyset(&none);
        // Its own session: the terminal's Ctrl-C is for this program, which decides.
        constexpr auto kFlags = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
        m_sound = ::posix_spawnattr_setflags(&m_attributes, static_cast<short>(kFlags)) == 0 &&
                  ::posix_spawnattr_setsigdefault(&m_attributes, &all) == 0 &&
                  ::posix_spawnattr_setsigmask(&m_attributes, &none) == 0;
    }
    ~Beginning() {
        ::posix_spawnattr_destroy(&m_attributes);
        ::posix_spawn_file_actions_destroy(&m_actions);
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;

    // Out of the way of the numbers that they are to get.
    void Give(int descriptor, int number) {
        constexpr int kBeyond = 10;
        m_kept.emplace_back(::fcntl(descriptor, F_DUPFD_CLOEXEC, kBeyond));
        if (m_kept.back().Get() < 0)
            m_mayOpen = false;
        else
            m_sound =
                m_sound && ::posix_spawn_file_actions_adddup2(&m_actions, m_kept.back().Get(), number) == 0;
    }
    [[nodiscard]] int Spawn(const Path& program, int firstClosed, pid_t& id) {
        if (!m_mayOpen)
            return EMFILE;
        if (!m_sound || ::posix_spawn_file_actions_addclosefrom_np(&m_actions, firstClosed) != 0)
            return ENOMEM;
        std::string name = program.native();
        std::array<char*, 2> arguments{name.data(), nullptr};
        // Where somebody has libraries of their own, the reader needs them, too.
        const char* const folders = std::getenv("LD_LIBRARY_PATH");
        std::string libraries = std::string("LD_LIBRARY_PATH=") + (folders != nullptr ? folders : "");
        std::array<char*, 2> environment{folders != nullptr ? libraries.data() : nullptr, nullptr};
        return ::posix_spawn(&id, name.c_str(), &m_actions, &m_attributes, arguments.data(),
                             environment.data());
    }

  private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
    std::vector<Descriptor> m_kept;
    bool m_sound = false;
    bool m_mayOpen = true;  // so many files
};

// What the system tells of a process. Asks for no memory: whoever looks after those that wait may get none.
class SystemsWords {
  public:
    SystemsWords(pid_t id, const char* what) {
        std::array<char, 64> name{};
        std::snprintf(name.data(), name.size(), "/proc/%d/%s", static_cast<int>(id), what);
        const Descriptor file(::open(name.data(), O_RDONLY | O_CLOEXEC));
        if (file.Get() >= 0 && ::read(file.Get(), m_text.data(), m_text.size() - 1) < 0)
            m_text[0] = '\0';
    }
    [[nodiscard]] const char* Text() const { return m_text.data(); }

  private:
    std::array<char, 4096> m_text{};
};

void TellWhatIsLacking(std::uint8_t lacking) {
    if ((lacking & reader::kNoFilter) != 0)
        Diagnose("reader: this kernel filters no system calls (seccomp)");
    if ((lacking & reader::kNoRules) != 0)
        Diagnose("reader: this kernel keeps no process from files (Landlock)");
}

Error Gone() {
    return {ErrorKind::Gone, kStopped};
}

}  // namespace

bool ReaderProcess::MakeMemory() {
    m_rows = MemoryFile("lumato-rows", reader::kMemorySize);
    m_words = MemoryFile("lumato-words", kMostWords);
    if (m_rows.Get() < 0 || m_words.Get() < 0)
        return false;
    void* const memory = ::mmap(nullptr, reader::kMemorySize, PROT_READ, MAP_SHARED, m_rows.Get(), 0);
    if (memory == MAP_FAILED)
        return false;
    m_memory = static_cast<const std::uint8_t*>(memory);
    return true;
}

int ReaderProcess::Spawn(const Path& program) {
    std::array<int, 2> ends{};
    if (!MakeMemory() || ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return errno;
    m_socket = Descriptor(ends[0]);
    const Descriptor itsSocket(ends[1]);
    // A file that nothing can be read from and written to, as those of standard input and output.
    const Descriptor nothing(::open("/", O_PATH | O_CLOEXEC));
    Beginning beginning;
    beginning.Give(nothing.Get(), STDIN_FILENO);
    beginning.Give(nothing.Get(), STDOUT_FILENO);
    beginning.Give(m_words.Get(), STDERR_FILENO);
    beginning.Give(itsSocket.Get(), reader::kSocket);
    beginning.Give(m_rows.Get(), reader::kMemory);
    return beginning.Spawn(program, reader::kMemory + 1, m_id);
}

Result<std::unique_ptr<ReaderProcess>> ReaderProcess::Start(const Path& program, Patience patience) {
    std::unique_ptr<ReaderProcess> process(new ReaderProcess(patience));
    if (const int error = process->Spawn(program); error != 0) {
        process->m_id = -1;
        return Fail(ErrorKind::Unsupported, Phrase(kReaderNotLoaded, SystemMessage(error)));
    }
    ::clock_getcpuclockid(process->m_id, &process->m_clock);
    LUMATO_TRY_VOID(process->AwaitReady());
    process->m_atFirst = process->PrivateMemory();
    return process;
}

ReaderProcess::~ReaderProcess() {
    if (m_id > 0) {
        m_socket = Descriptor();  // ends one that may not be killed, too
        ::kill(m_id, SIGKILL);
        while (::waitpid(m_id, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    if (m_memory != nullptr)
        ::munmap(const_cast<std::uint8_t*>(m_memory), reader::kMemorySize);
}

Result<void> ReaderProcess::AwaitReady() {
    constexpr std::chrono::seconds kToLoad{20};
    m_mostProcessor = kToLoad;
    m_end = std::chrono::steady_clock::now() + m_patience;
    reader::Packet packet;
    for (;;) {
        const Heard heard = Hear(packet);
        if (heard == Heard::Stopped)
            return tl::unexpected(Gone());
        const auto message = heard == Heard::Packet ? reader::ParseFromReader(packet) : std::nullopt;
        if (message && std::holds_alternative<reader::Line>(*message)) {
            Diagnose(std::get<reader::Line>(*message).text);
            continue;
        }
        if (!message || !std::holds_alternative<reader::Ready>(*message))
            return tl::unexpected(NotReady());
        const auto& ready = std::get<reader::Ready>(*message);
        if (ready.version != reader::kVersion)
            return Fail(ErrorKind::Unsupported,
                        Phrase("READER_OF_ANOTHER_VERSION",
                               "the picture reader for this format is of another version"));
        TellWhatIsLacking(ready.lacking);
        return {};
    }
}

// What the system's loader had to say, when a library is missing.
Error ReaderProcess::NotReady() const {
    std::string words(kMostWords, '\0');
    const ssize_t size = ::pread(m_words.Get(), words.data(), words.size(), 0);
    words.resize(std::min(words.find_first_of(std::string_view("\n\0", 2)),
                          static_cast<std::size_t>(std::max<ssize_t>(size, 0))));
    if (words.empty())
        return {ErrorKind::Unsupported, reader::kReasons[static_cast<int>(reader::Reason::CannotStart)]};
    return {ErrorKind::Unsupported, Phrase(kReaderNotLoaded, Printable(words))};
}

// In bytes.
ReaderProcess::Private ReaderProcess::PrivateMemory() const {
    const SystemsWords words(m_id, "statm");
    std::array<long long, 6> pages{};
    const int read = std::sscanf(words.Text(), "%lld %lld %lld %lld %lld %lld", &pages[0], &pages[1],
                                 &pages[2], &pages[3], &pages[4], &pages[5]);
    const std::int64_t page = ::sysconf(_SC_PAGESIZE);
    return read == static_cast<int>(pages.size())
               ? Private{pages[5] * page, (pages[1] - pages[2]) * page, pages[0] * page}
               : Private{kUsualData, 0, 0};
}

bool ReaderProcess::BurdensKernel() const {
    constexpr long long kMostTables = 16 << 10;  // kilobytes: for eight times the addresses that it may have
    constexpr long long kMostThreads = 1000;     // some decoders make one for each processor
    const SystemsWords words(m_id, "status");
    const auto isMore = [&](const char* name, long long most) {
        const char* const found = std::strstr(words.Text(), name);
        return found != nullptr && std::strtoll(found + std::strlen(name), nullptr, 10) > most;
    };
    return isMore("\nVmPTE:", kMostTables) || isMore("\nThreads:", kMostThreads);
}

std::chrono::nanoseconds ReaderProcess::Processor() const {
    timespec used{};
    ::clock_gettime(m_clock, &used);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

void ReaderProcess::Begin(std::int64_t fileSize) {
    m_before = Processor();
    // One that was taken over may have asked for all that the last picture allowed.
    m_askedBefore = std::min(PrivateMemory().asked, m_atFirst.asked + kMostAskedKept);
    // Libraries map the file, some of them twice.
    m_mostMapped = m_atFirst.mapped + kMostReserved + 2 * fileSize;
}

void ReaderProcess::Limit(int what, std::int64_t bytes) {
    const auto resource = static_cast<__rlimit_resource>(what);
    struct rlimit limit {};
    if (::prlimit(m_id, resource, nullptr, &limit) == 0) {
        limit.rlim_cur = static_cast<rlim_t>(bytes);
        ::prlimit(m_id, resource, &limit, nullptr);
    }
}

void ReaderProcess::SetBounds(const ReaderBounds& bounds) {
    Limit(RLIMIT_DATA, m_askedBefore + bounds.memory);
    Limit(RLIMIT_AS, m_mostMapped + bounds.memory);
    m_mostProcessor = m_before + bounds.processor;
    m_end = std::chrono::steady_clock::now() + m_patience + 10 * bounds.processor;
}

bool ReaderProcess::Say(const reader::ToReader& message, int descriptor) {
    reader::Packet packet = reader::Pack(message);
    iovec part{packet.data(), packet.size()};
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (descriptor >= 0) {
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr* const first = CMSG_FIRSTHDR(&header);
        first->cmsg_level = SOL_SOCKET;
        first->cmsg_type = SCM_RIGHTS;
        first->cmsg_len = CMSG_LEN(sizeof descriptor);
        std::memcpy(CMSG_DATA(first), &descriptor, sizeof descriptor);
    }
    // One that takes nothing is asked once: it hears a message at a time.
    return ::sendmsg(m_socket.Get(), &header, MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(packet.size());
}

ReaderProcess::Heard ReaderProcess::Hear(reader::Packet& packet) {
    constexpr int kBetweenQuestions = 50;  // milliseconds
    const auto begin = std::chrono::steady_clock::now();
    const auto before = Processor();
    for (;;) {
        if (StopQuestion::IsStopped())
            return Heard::Stopped;
        pollfd socket{m_socket.Get(), POLLIN, 0};
        const int ready = ::poll(&socket, 1, kBetweenQuestions);
        if (ready > 0) {
            packet.resize(reader::kMostMessage + 1);
            // Descriptors that it would hand over are closed at once: there is no room for them.
            const ssize_t size = ::recv(m_socket.Get(), packet.data(), packet.size(), MSG_DONTWAIT);
            if (size <= 0)
                return Heard::Ended;
            packet.resize(static_cast<std::size_t>(size));
        }
        const auto now = std::chrono::steady_clock::now();
        const auto used = Processor();
        const bool sleeps = now > begin + m_patience && used < before + kAwake;
        if (now >= m_nextLook) {
            m_nextLook = now + std::chrono::milliseconds(kBetweenQuestions);
            if (BurdensKernel())
                return Heard::Beyond;
        }
        if (sleeps || used > m_mostProcessor || now > m_end)
            return Heard::Beyond;
        if (ready > 0)
            return Heard::Packet;
    }
}

void ReaderProcess::Rest() {
    m_mostProcessor = Processor() + kAwake;
}

bool ReaderProcess::IsQuiet() const {
    pollfd socket{m_socket.Get(), POLLIN | POLLRDHUP, 0};
    return ::poll(&socket, 1, 0) == 0;
}

bool ReaderProcess::HasGrown() const {
    constexpr std::int64_t kMostKept = 32 << 20;
    const Private now = PrivateMemory();
    return now.used > m_atFirst.used + kMostKept || now.asked > m_atFirst.asked + kMostAskedKept ||
           Processor() > m_mostProcessor || BurdensKernel();
}

}  // namespace lumato::picture
