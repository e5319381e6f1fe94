#include "picture/rv512_encoder.h"

#include <memory>
#include <new>
#include <vector>

#include "base/printable.h"
#include "jpeg/encoder.h"
#include "jpeg/quality_search.h"
#include "picture/bitmap_file.h"

namespace lumato::picture {

Result<int> CRv512Encoder::EncodeFile(const Path& source, const Path& destination, int width, int height,
                                      int mode, const Encoding& encode) const {
    LUMATO_TRY(const std::vector<std::uint8_t> pixels, LoadPicFromDir(source, width, height));
    // The bound is several times what a picture really takes; what is not written to costs no memory.
    const auto stream =
        std::make_unique_for_overwrite<std::uint8_t[]>(jpeg::MaximumStreamSize(width, height, mode));
    const std::optional<int> size = encode(pixels.data(), stream.get());
    if (!size)
        return Fail(ErrorKind::TooLarge,
                    About(Printable(source.string()),
                          Phrase("BEYOND_FRAME_PICTURE", "too large for a frame picture")));
    LUMATO_TRY_VOID(WriteFile(destination, ByteSpan(stream.get(), static_cast<std::size_t>(*size)), m_links));
    return *size;
}

int CRv512Encoder::Guarded(const Path& source, const Path& destination, int width, int height, int mode,
                           const Encoding& encode) {
    Result<int> size;
    try {
        size = EncodeFile(source, destination, width, height, mode, encode);
    } catch (const std::bad_alloc&) {
        size =
            Fail(ErrorKind::TooLarge, About(Printable(source.string()),
                                            Phrase("NO_MEMORY_TO_ENCODE", "not enough memory to encode it")));
    }
    if (!size)
        m_lastError = std::move(size).error();
    return size.value_or(0);
}

int CRv512Encoder::EnCode(const Path& source, const Path& destination, int width, int height, int quality,
                          int yValue) {
    const int mode = ModeOf(yValue);
    return Guarded(
        source, destination, width, height, mode,
        [&](const std::uint8_t* pixels, std::uint8_t* out) -> std::optional<int> {
            int size = 0;
            if (!jpeg::CVaskJpegEncoder(quality).CompressImage(pixels, out, width, height, size, mode))
                return std::nullopt;
            return size;
        });
}

int CRv512Encoder::EnCodeWithin(const Path& source, const Path& destination, int width, int height,
                                int& quality, int step, int budget, int yValue) {
    const int mode = ModeOf(yValue);
    return Guarded(source, destination, width, height, mode,
                   [&](const std::uint8_t* pixels, std::uint8_t* out) -> std::optional<int> {
                       jpeg::QualitySearch search(pixels, out, width, height, mode);
                       const auto outcome = search.Run(quality, step, budget);
                       if (!outcome)
                           return std::nullopt;
                       quality = outcome->quality;
                       return outcome->size;
                   });
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
