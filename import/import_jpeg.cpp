#include "import/import_jpeg.h"

#include <cstddef>
#include <memory>
#include <vector>

#include "import/colour.h"
#include "import/jpeg_decoder.h"
#include "import/memory_share.h"
#include "import/messages.h"

namespace lumato::picture {
namespace {

Result<void> ReadHeldRows(JpegDecoder& decoder, PictureBuilder& builder) {
    LUMATO_TRY_VOID(decoder.Start(true));
    LUMATO_TRY(const int first, decoder.LeaveOut(builder.Needed()));
    while (!builder.Complete())
        LUMATO_TRY_VOID(decoder.ReadRow(builder.NextRow() + std::ptrdiff_t{first} * 4));
    return decoder.Finish();
}

// `colours`: null where they stay as they are.
Result<void> ReadRows(JpegDecoder& decoder, Size decoded, const ColourConverter* colours,
                      PictureBuilder& builder) {
    LUMATO_TRY_VOID(decoder.Start());
    const auto width = static_cast<std::size_t>(decoded.width);
    std::vector<std::uint8_t> row(width * static_cast<std::size_t>(BytesPerPixel(decoder.Layout())));
    std::vector<std::uint8_t> rgb(colours == nullptr ? 0 : width * 3);
    while (!builder.Complete()) {
        LUMATO_TRY_VOID(decoder.ReadRow(row.data()));
        if (colours != nullptr)
            colours->Convert(row.data(), rgb.data(), width);
        builder.AddRow(colours == nullptr ? row.data() : rgb.data());
    }
    return decoder.Finish();
}

Result<void> Decode(JpegDecoder& decoder, PictureBuilder& builder, Orientation unsaid) {
    LUMATO_TRY_VOID(decoder.ReadHeader());
    const Size own = decoder.OwnSize();
    const Orientation orientation = ExifOrientation(decoder.Exif(), unsaid);
    const bool leave = builder.LeavesColours() && decoder.Layout() == PixelLayout::Rgb;
    const auto colours =
        ColourConverter::For(leave ? PixelLayout::Held : decoder.Layout(), decoder.Profile());
    if (decoder.IsProfileBroken() || colours->IgnoresProfile())
        builder.Note(kProfileUnusable);
    const bool convert = !leave && !colours->IsIdentity();
    const Size least = builder.Least(own, orientation);
    const int eighths = EighthsFor(own, least);
    const bool rough = least.width * 8 < own.width * 7 && least.height * 8 < own.height * 7;
    LUMATO_TRY(const Size decoded, decoder.Scale(eighths, rough));
    const MemoryShare share(decoder.Memory());
    if (!share.IsGranted())
        return Fail(ErrorKind::Gone, kStopped);
    LUMATO_TRY_VOID(builder.Begin(
        {own, decoded, orientation, 8.0 / eighths, leave && !colours->IsIdentity() ? colours : nullptr}));
    if (!convert && builder.KeepsRows())
        return ReadHeldRows(decoder, builder);
    return ReadRows(decoder, decoded, convert ? colours.get() : nullptr, builder);
}

}  // namespace

Result<void> ImportJpeg(const PictureFile& file, PictureBuilder& builder, Processors processors,
                        Orientation unsaid) {
    {
        using Reading = JpegDecoder::Reading;
        JpegDecoder decoder(file, processors == Processors::All ? Reading::UsualAhead : Reading::Usual);
        auto decoded = Decode(decoder, builder, unsaid);
        if (!decoder.IsUnusual())
            return decoded;
    }
    return ImportJpegByLibjpeg(file, builder, unsaid);
}

Result<void> ImportJpegByLibjpeg(const PictureFile& file, PictureBuilder& builder, Orientation unsaid) {
    JpegDecoder decoder(file, JpegDecoder::Reading::Any);
    return Decode(decoder, builder, unsaid);
}

}  // namespace lumato::picture
