// A reader: a process of its own that decodes what strangers made, started and ended here.
//
// One thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

#include <sys/types.h>

#include "base/descriptor.h"
#include "base/file.h"
#include "import/reader_bounds.h"
#include "reader/messages.h"

namespace lumato::picture {

class ReaderProcess {
  public:
    // How long one may be silent without using processor time, and how much longer a picture may take than
    // ten times its processor time explains.
    using Patience = std::chrono::milliseconds;
    static constexpr Patience kPatience{30'000};

    // Errors: Unsupported, when it cannot be started, with the reason; Gone, when it is not to be.
    [[nodiscard]] static Result<std::unique_ptr<ReaderProcess>> Start(const Path& program,
                                                                      Patience patience = kPatience);
    // Ends it, whatever it does.
    ~ReaderProcess();
    ReaderProcess(const ReaderProcess&) = delete;
    ReaderProcess& operator=(const ReaderProcess&) = delete;

    // A picture begins, in a file of so many bytes.
    void Begin(std::int64_t fileSize);
    // What it may take for the picture.
    void SetBounds(const ReaderBounds& bounds);
    // False: it has ended.
    [[nodiscard]] bool Say(const reader::ToReader& message, int descriptor = -1);
    // Beyond: it took more time, or more of the kernel's memory, than it may.
    enum class Heard { Packet, Ended, Beyond, Stopped };
    // Waits for what it says.
    [[nodiscard]] Heard Hear(reader::Packet& packet);

    // Where its rows come. It may write there at any time.
    [[nodiscard]] ByteSpan Memory() const { return {m_memory, reader::kMemorySize}; }
    // It lives and has said nothing that was not heard.
    [[nodiscard]] bool IsQuiet() const;
    // It is to wait from now on.
    void Rest();
    // It keeps more of what it took than a waiting one should, or works: what it took when it was left, or
    // took since, must not be the next picture's to add to.
    [[nodiscard]] bool HasGrown() const;
    [[nodiscard]] pid_t Id() const { return m_id; }

  private:
    explicit ReaderProcess(Patience patience) : m_patience(patience) {}

    [[nodiscard]] bool MakeMemory();
    [[nodiscard]] int Spawn(const Path& program);
    [[nodiscard]] Result<void> AwaitReady();
    [[nodiscard]] Error NotReady() const;
    struct Private {
        std::int64_t asked = 0;   // of memory that it can write
        std::int64_t used = 0;    // what is there of it
        std::int64_t mapped = 0;  // of addresses, whatever is there
    };
    [[nodiscard]] Private PrivateMemory() const;
    // More threads, or tables of what is mapped, than decoders need. Both are memory of the kernel's, which
    // no limit counts.
    [[nodiscard]] bool BurdensKernel() const;
    [[nodiscard]] std::chrono::nanoseconds Processor() const;
    void Limit(int what, std::int64_t bytes);

    const Patience m_patience;
    pid_t m_id = -1;
    clockid_t m_clock{};
    Descriptor m_socket;
    Descriptor m_rows;
    Descriptor m_words;  // what it says on standard error
    const std::uint8_t* m_memory = nullptr;
    Private m_atFirst;                     // when it was ready
    std::int64_t m_askedBefore = 0;        // when the picture began
    std::int64_t m_mostMapped = 0;         // beside what the picture is allowed
    std::chrono::nanoseconds m_before{0};  // of processor time, when the picture began
    std::chrono::nanoseconds m_mostProcessor{0};
    std::chrono::steady_clock::time_point m_end;
    std::chrono::steady_clock::time_point m_nextLook;  // at what it takes of the kernel's
};

}  // namespace lumato::picture
