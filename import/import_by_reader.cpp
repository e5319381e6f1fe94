#include "import/import_by_reader.h"

#include <algorithm>
#include <optional>
#include <thread>

#include "import/import_jpeg.h"
#include "import/memory_share.h"
#include "import/messages.h"
#include "import/orientation.h"
#include "import/reception.h"

namespace lumato::picture {
namespace {

// More than a few gain nothing on one picture, and each has buffers of its own.
std::uint8_t ThreadsFor(Processors processors) {
    if (processors == Processors::One)
        return 1;
    return static_cast<std::uint8_t>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
}

// One picture and the reader that was borrowed for it.
class Conversation {
  public:
    Conversation(ReaderProcess& process, PictureBuilder& builder, std::int64_t fileSize)
        : m_process(process), m_reception(builder, process.Memory(), fileSize) {}

    // Whether the reader can have the next one.
    [[nodiscard]] bool IsReaderSound() const { return m_sound; }
    // In place of the picture: where it lies.
    [[nodiscard]] const std::optional<reader::Preview>& Preview() const { return m_reception.Preview(); }

    Result<void> Lead(const reader::Job& job, int descriptor) {
        m_process.Begin(job.fileSize);
        m_process.SetBounds(BoundsForHeader(job.fileSize));
        if (!m_process.Say(job, descriptor))
            return Stopped();
        for (;;) {
            const ReaderProcess::Heard heard = m_process.Hear(m_packet);
            if (heard == ReaderProcess::Heard::Stopped)
                return Fail(ErrorKind::Gone, kStopped);
            if (heard != ReaderProcess::Heard::Packet)
                return Stopped();
            switch (m_reception.Take(m_packet)) {
                case Reception::Next::Wait:
                    continue;
                case Reception::Next::Go:
                    m_share.emplace(m_reception.Bounds().usual);
                    if (!m_share->IsGranted())
                        return Fail(ErrorKind::Gone, kStopped);
                    m_process.SetBounds(m_reception.Bounds());
                    [[fallthrough]];
                case Reception::Next::Say:
                    if (!m_process.Say(m_reception.Answer()))
                        return Stopped();
                    continue;
                case Reception::Next::Left:
                    m_sound = m_process.Say(m_reception.Answer());
                    return m_reception.Outcome();
                case Reception::Next::Ended:
                    // Libraries that give up leave descriptors and threads behind, until one has too many.
                    m_sound = m_reception.Outcome().has_value();
                    return m_reception.Outcome();
                case Reception::Next::Nonsense:
                    return m_reception.Outcome() ? Stopped() : m_reception.Outcome();
            }
        }
    }

  private:
    static Result<void> Stopped() { return Fail(ErrorKind::Damaged, kDecoderStopped); }

    ReaderProcess& m_process;
    Reception m_reception;
    std::optional<MemoryShare> m_share;
    reader::Packet m_packet;
    bool m_sound = false;
};

// The JPEG file inside of a raw one. What lies there is the user's own: the reader only says where.
Result<void> ImportPreview(const PictureFile& file, const reader::Preview& preview, PictureBuilder& builder,
                           Processors processors) {
    LUMATO_TRY(const PictureFile part, file.Part(preview.offset, preview.length));
    LUMATO_TRY_VOID(ImportJpeg(part, builder, processors, OrientationOf(preview.orientation)));
    builder.Note(kPreviewUsed);
    return {};
}

}  // namespace

Result<void> ImportByReader(const PictureFile& file, PictureBuilder& builder, Processors processors,
                            ReaderPool& pool) {
    std::optional<reader::Preview> preview;
    {
        LUMATO_TRY(ReaderPool::Loan loan, pool.Borrow());
        Conversation conversation(*loan, builder, file.Size());
        Result<void> outcome = conversation.Lead({file.Size(), ThreadsFor(processors)}, file.Descriptor());
        if (conversation.IsReaderSound())
            loan.GiveBack();
        if (!outcome)
            return outcome;
        preview = conversation.Preview();
    }
    return preview ? ImportPreview(file, *preview, builder, processors) : Result<void>();
}

}  // namespace lumato::picture
