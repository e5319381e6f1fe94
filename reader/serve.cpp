#include "reader/serve.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "reader/box_reducer.h"
#include "reader/doors.h"

namespace lumato::reader {
namespace {

void Say(const FromReader& message) {
    const Packet packet = Pack(message);
    while (::send(kSocket, packet.data(), packet.size(), MSG_NOSIGNAL) < 0 && errno == EINTR) {
    }
}

// The next message, and the descriptor that came with it, or -1. Ends the process when the program is gone,
// or says what nobody says.
ToReader Hear(int* descriptor = nullptr) {
    std::array<std::uint8_t, kMostMessage> packet{};
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> control{};
    iovec part{packet.data(), packet.size()};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    ssize_t size = 0;
    do {
        size = ::recvmsg(kSocket, &header, MSG_CMSG_CLOEXEC);
    } while (size < 0 && errno == EINTR);
    if (size <= 0)
        std::_Exit(EXIT_SUCCESS);
    int received = -1;
    if (const cmsghdr* first = CMSG_FIRSTHDR(&header); first != nullptr && first->cmsg_type == SCM_RIGHTS)
        std::memcpy(&received, CMSG_DATA(first), sizeof received);
    if (descriptor != nullptr)
        *descriptor = received;
    const auto message = ParseToReader({packet.data(), static_cast<std::size_t>(size)});
    if (!message)
        std::_Exit(EXIT_FAILURE);
    return *message;
}

// Hands a picture over.
class Sender : public Receiver {
  public:
    explicit Sender(std::uint8_t* memory) : m_memory(memory) {}

    std::optional<Go> Begin(const Found& found, ByteSpan profile) override {
        Found said = found;
        said.profileBytes = static_cast<std::uint32_t>(profile.size());
        if (!profile.empty())
            std::memcpy(m_memory, profile.data(), profile.size());
        Say(said);
        const ToReader answer = Hear();
        const auto* go = std::get_if<Go>(&answer);
        m_left = go == nullptr;
        return go != nullptr ? std::optional(*go) : std::nullopt;
    }
    bool Preview(std::int64_t offset, std::int64_t length, std::uint8_t orientation) override {
        Say(reader::Preview{offset, length, orientation});
        return true;
    }
    // The program waits for nothing more of it.
    [[nodiscard]] bool IsLeft() const { return m_left; }
    bool Decoded(const Coming& size) override {
        Say(size);
        const ToReader answer = Hear();
        const auto* keep = std::get_if<Keep>(&answer);
        if (keep == nullptr)
            return false;
        const Size decoded{size.width, size.height};
        const int width = DividedUp(decoded, keep->divisor).width;
        m_rowBytes = static_cast<std::size_t>(width) * 3;
        m_decodedBytes = static_cast<std::size_t>(size.width) * 3;
        m_perHalf = RowsPerHalf(width);
        if (keep->divisor > 1)
            m_reducer.emplace(decoded, keep->divisor);
        return m_rowBytes <= kHalf;
    }
    bool Row(const std::uint8_t* rgb) override {
        m_unheard += m_decodedBytes;
        if (m_reducer) {
            if (!m_reducer->Add(rgb))
                return true;
            rgb = m_reducer->Row();
        }
        std::memcpy(m_memory + m_half * kHalf + static_cast<std::size_t>(m_rows) * m_rowBytes, rgb,
                    m_rowBytes);
        if (++m_rows == m_perHalf || m_unheard > kMostUnheard)
            HandOver();
        return true;
    }
    // What is in the half begun.
    void Finish() {
        if (m_rows > 0)
            HandOver();
        while (m_untaken > 0)
            WaitUntilTaken();
    }

  private:
    void HandOver() {
        Say(Rows{static_cast<std::int32_t>(m_rows)});
        m_rows = 0;
        m_unheard = 0;
        m_half = 1 - m_half;
        if (++m_untaken == 2)
            WaitUntilTaken();
    }
    void WaitUntilTaken() {
        if (!std::holds_alternative<Taken>(Hear()))
            std::_Exit(EXIT_FAILURE);
        --m_untaken;
    }

    std::uint8_t* const m_memory;
    std::optional<BoxReducer> m_reducer;
    // A file that comes slowly is one that is read, as long as something is heard of it.
    static constexpr std::size_t kMostUnheard = 2 * kUsualBytes;
    std::size_t m_unheard = 0;       // bytes of what was decoded since
    std::size_t m_decodedBytes = 0;  // of a row
    std::size_t m_rowBytes = 0;
    std::int64_t m_perHalf = 1;
    std::int64_t m_rows = 0;  // in the half begun
    std::size_t m_half = 0;
    int m_untaken = 0;
    bool m_left = false;
};

// A decoder that hangs must not outlive the program.
void* EndWithTheProgram(void*) {
    pollfd socket{kSocket, POLLRDHUP, 0};
    while (::poll(&socket, 1, -1) <= 0 || (socket.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0) {
    }
    std::_Exit(EXIT_SUCCESS);
}

bool StartWatch() {
    pthread_t thread{};
    return ::pthread_create(&thread, nullptr, EndWithTheProgram, nullptr) == 0;
}

// Threads of decoders take no more than this each, of what a picture may take.
void KeepThreadsSmall() {
    constexpr std::size_t kStack = 1 << 20;
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, kStack);
    ::pthread_setattr_default_np(&attributes);
    ::pthread_attr_destroy(&attributes);
    ::mallopt(M_ARENA_MAX, 2);
    // Rows' buffers stay for the next ones, whole pictures go back when they are freed.
    ::mallopt(M_MMAP_THRESHOLD, 4 << 20);
    ::mallopt(M_TRIM_THRESHOLD, 16 << 20);
}

// A reader that waits keeps no memory that it does not need.
void AwaitJob() {
    constexpr int kSoon = 1000;  // milliseconds
    pollfd socket{kSocket, POLLIN, 0};
    if (::poll(&socket, 1, kSoon) == 0)
        ::malloc_trim(0);
}

void ReadOne(const Decoder& decoder, int descriptor, const Job& job, std::uint8_t* memory) {
    Sender sender(memory);
    End end;
    try {
        end = decoder.read(descriptor, job, sender);
    } catch (const std::bad_alloc&) {
        end = {Outcome::TooLarge, Reason::BeyondMemory};
    }
    if (end.outcome == Outcome::Done)
        sender.Finish();
    ::close(descriptor);
    constexpr std::size_t kMostKept = 12 << 20;
    if (::mallinfo2().fordblks > kMostKept)
        ::malloc_trim(0);
    if (!sender.IsLeft())
        Say(end);
}

}  // namespace

int Serve(const Decoder& decoder) {
    void* const memory = ::mmap(nullptr, kMemorySize, PROT_READ | PROT_WRITE, MAP_SHARED, kMemory, 0);
    if (memory == MAP_FAILED)
        return EXIT_FAILURE;
    KeepThreadsSmall();
    if (!decoder.start([](const char* line) { Say(Line{line}); })) {
        Say(End{Outcome::Unsupported, Reason::CannotStart});
        return EXIT_FAILURE;
    }
    const std::uint8_t lacking = CloseDoors();
    if (!StartWatch())
        return EXIT_FAILURE;
    Say(Ready{kVersion, lacking});
    for (;;) {
        AwaitJob();
        int descriptor = -1;
        const ToReader message = Hear(&descriptor);
        if (const auto* job = std::get_if<Job>(&message); job != nullptr && descriptor >= 0)
            ReadOne(decoder, descriptor, *job, static_cast<std::uint8_t*>(memory));
    }
}

}  // namespace lumato::reader
