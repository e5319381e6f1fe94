#include "picture/stream_made_anew.h"

#include <system_error>

#include "base/temporary_name.h"
#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "picture/edit_controls.h"
#include "picture/rv512_encoder.h"
#include "store/store.h"

namespace lumato::picture {

Result<std::vector<std::uint8_t>> PixelsMadeAnew(const AlbumEntry& entry) {
    const store::StoreState& store = store::Store();
    if (entry.pose.IsFitted())
        return ComposeFitted(entry.source, static_cast<int>(store.gmyLcdWidth),
                             static_cast<int>(store.gmyLcdHeight));
    LUMATO_TRY_VOID(SelectOnePicture(entry.source, false));
    ApplyPose(entry.pose);
    auto pixels = RenderLcdBitmap(WithTopLeftCorner(store.gmyDrawrect));
    ReleaseSelection();
    return pixels;
}

namespace {

Result<std::vector<std::uint8_t>> MakeStreamOf(const AlbumEntry& entry, const Path& bitmap,
                                               const Path& stream) {
    const store::StoreState& store = store::Store();
    const auto width = static_cast<int>(store.gmyLcdWidth);
    const auto height = static_cast<int>(store.gmyLcdHeight);
    LUMATO_TRY(const auto pixels, PixelsMadeAnew(entry));
    LUMATO_TRY_VOID(SaveBmpFile(pixels, width, height, bitmap));
    CRv512Encoder encoder;
    if (encoder.EnCode(bitmap, stream, width, height, entry.quality, store.G_YValue) <= 0)
        return tl::unexpected(encoder.LastError());
    return ReadPlainFile(stream);
}

}  // namespace

std::optional<std::vector<std::uint8_t>> StreamMadeAnew(const Digest& hash, std::int32_t length) {
    const AlbumEntry* entry = Pictures().album.Find(hash);
    if (entry == nullptr)
        return std::nullopt;
    const std::string name = TemporaryName("anew");
    const Path bitmap = store::BitmapPath(name);
    const Path streamFile = store::StreamPath(name);
    Result<std::vector<std::uint8_t>> stream = MakeStreamOf(AlbumEntry(*entry), bitmap, streamFile);
    std::error_code ignored;
    std::filesystem::remove(bitmap, ignored);
    std::filesystem::remove(streamFile, ignored);
    if (!stream || stream->size() != static_cast<std::size_t>(length) || Sha256(*stream) != hash)
        return std::nullopt;
    return std::move(*stream);
}

}  // namespace lumato::picture
