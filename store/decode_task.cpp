#include "store/decode_task.h"

#include <system_error>
#include <utility>

namespace lumato::store {

DecodeTask::DecodeTask(CodecPort* codec, int width, int height)
    : m_codec(codec), m_width(width), m_height(height) {
    try {
        m_thread = std::thread([this] { Work(); });
    } catch (const std::system_error&) {  // slower, and just as well
    }
}

DecodeTask::~DecodeTask() {
    if (!m_thread.joinable())
        return;
    Advance(Step::Ending);
    m_thread.join();
}

void DecodeTask::Advance(Step to) {
    {
        const std::lock_guard lock(m_mutex);
        m_step = to;
    }
    m_changed.notify_all();
}

void DecodeTask::Begin(ByteSpan stream, Path bitmap) {
    m_stream = stream;
    m_bitmap = std::move(bitmap);
    Advance(Step::Begun);
}

bool DecodeTask::End() {
    if (!m_thread.joinable())
        return m_codec->DeCodeStream(m_stream, m_bitmap, m_width, m_height);
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_step == Step::Done; });
    m_step = Step::Idle;
    return m_written;
}

void DecodeTask::Work() {
    for (;;) {
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return m_step == Step::Begun || m_step == Step::Ending; });
            if (m_step == Step::Ending)
                return;
        }
        m_written = m_codec->DeCodeStream(m_stream, m_bitmap, m_width, m_height);
        Advance(Step::Done);
    }
}

}  // namespace lumato::store
