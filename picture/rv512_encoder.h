// The frame picture codec: the one place where bitmap files and the frame's pictures meet.
//
// Nothing but memory to work in survives a call. One thread at a time; separate objects may run on different
// threads, on different files.
#pragma once

#include <cstdint>

#include "base/error.h"
#include "base/file.h"
#include "jpeg/decoder.h"
#include "store/codec_port.h"

namespace lumato::picture {

// The encoder's mode for a frame's sampling value: the frame counts from 1. A value of 0 sets every bit.
[[nodiscard]] inline int ModeOf(int yValue) {
    return static_cast<int>(static_cast<unsigned>(yValue) - 1U);
}

class CRv512Encoder : public store::CodecPort {
  public:
    // `links`: whether a link under a destination's name is followed or replaced (base/file.h).
    explicit CRv512Encoder(Links links = Links::Replace) : m_links(links), m_decoder(links) {}

    // Encodes the bitmap file `source`, whose picture must be `width` x `height`, into the stream file
    // `destination`. `yValue` is the frame's sampling value: the encoder's mode plus 1. Returns the bytes
    // written, or 0: then nothing stands under the destination's name that was not there before.
    int EnCode(const Path& source, const Path& destination, int width, int height, int quality, int yValue);

    bool DeCode(const Path& source, const Path& destination, int width, int height) override;
    bool DeCodeStream(ByteSpan stream, const Path& destination, int width, int height) override;

    // Why the last call failed; for messages. Requires: asked on the thread that called.
    [[nodiscard]] const Error& LastError() const override { return m_lastError; }
    // Size of the picture that was decoded and written last, in pixels.
    [[nodiscard]] int LastWidth() const { return m_decoder.LastWidth(); }
    [[nodiscard]] int LastHeight() const { return m_decoder.LastHeight(); }

  private:
    Result<int> EncodeFile(const Path& source, const Path& destination, int width, int height, int quality,
                           int mode) const;

    Links m_links;
    jpeg::JPGEncode m_decoder;
    Error m_lastError;
};

}  // namespace lumato::picture
