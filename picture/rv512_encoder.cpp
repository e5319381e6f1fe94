#include "picture/rv512_encoder.h"

#include <memory>
#include <new>
#include <vector>

#include "base/printable.h"
#include "jpeg/encoder.h"
#include "picture/bitmap_file.h"
#include "picture/messages.h"

namespace lumato::picture {

Result<int> CRv512Encoder::EncodeFile(const Path& source, const Path& destination, int width, int height,
                                      int quality, int mode) const {
    LUMATO_TRY(const std::vector<std::uint8_t> pixels, LoadPicFromDir(source, width, height));
    // The bound is several times what a picture really takes; what is not written to costs no memory.
    const auto stream =
        std::make_unique_for_overwrite<std::uint8_t[]>(jpeg::MaximumStreamSize(width, height, mode));
    int size = 0;
    if (!jpeg::CVaskJpegEncoder(quality).CompressImage(pixels.data(), stream.get(), width, height, size,
                                                       mode))
        return Fail(ErrorKind::TooLarge, About(Printable(source.string()), kBeyondFramePicture));
    LUMATO_TRY_VOID(WriteFile(destination, ByteSpan(stream.get(), static_cast<std::size_t>(size)), m_links));
    return size;
}

int CRv512Encoder::EnCode(const Path& source, const Path& destination, int width, int height, int quality,
                          int yValue) {
    Result<int> size;
    try {
        size = EncodeFile(source, destination, width, height, quality, ModeOf(yValue));
    } catch (const std::bad_alloc&) {
        size = Fail(ErrorKind::TooLarge, About(Printable(source.string()), kNoMemoryToEncode));
    }
    if (size)
        return *size;
    m_lastError = std::move(size).error();
    return 0;
}

bool CRv512Encoder::DeCode(const Path& source, const Path& destination, int width, int height) {
    const bool isWritten = m_decoder.DecodeMyPicture(source.c_str(), destination.c_str(), width, height);
    if (!isWritten)
        m_lastError = m_decoder.LastError();
    return isWritten;
}

bool CRv512Encoder::DeCodeStream(ByteSpan stream, const Path& destination, int width, int height) {
    const bool isWritten = m_decoder.DecodeMyStream(stream, destination.c_str(), width, height);
    if (!isWritten)
        m_lastError = m_decoder.LastError();
    return isWritten;
}

}  // namespace lumato::picture
