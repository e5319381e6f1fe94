// Decodes a frame picture into its bitmap file on a thread of its own, while the caller does something else
// with the same stream.
//
// One owner, one picture at a time. The thread lives as long as the object.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "store/codec_port.h"

namespace lumato::store {

class DecodeTask {
  public:
    // `codec`, borrowed, must be left alone between Begin() and End().
    DecodeTask(CodecPort* codec, int width, int height);
    ~DecodeTask();
    DecodeTask(const DecodeTask&) = delete;
    DecodeTask& operator=(const DecodeTask&) = delete;

    // Begins with a picture; `stream` stays until End(). Requires: none is begun.
    void Begin(ByteSpan stream, Path bitmap);
    // Waits for its end. True when the bitmap was written, otherwise the codec says why.
    [[nodiscard]] bool End();

  private:
    enum class Step { Idle, Begun, Done, Ending };

    void Work();
    void Advance(Step to);

    CodecPort* m_codec;
    const int m_width, m_height;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Step m_step = Step::Idle;  // guarded by the mutex; what follows belongs to whose turn it is
    ByteSpan m_stream;
    Path m_bitmap;
    bool m_written = false;
    std::thread m_thread;  // none where the system has none to give: End() decodes then
};

}  // namespace lumato::store
