#include "import/import.h"

#include <new>
#include <string>

#include "import/import_bmp.h"
#include "import/import_by_reader.h"
#include "import/import_jpeg.h"
#include "import/messages.h"
#include "import/picture_file.h"
#include "import/png_file.h"

namespace lumato::picture {
namespace {

Result<void> ImportFrom(const PictureFile& file, PictureBuilder& builder, Processors processors) {
    if (file.Size() == 0)
        return Fail(ErrorKind::Unsupported, Phrase("FILE_IS_EMPTY", "the file is empty"));
    LUMATO_TRY(const Content content, ContentOf(file));
    switch (content) {
        case Content::Jpeg:
            return ImportJpeg(file, builder, processors);
        case Content::Bitmap:
            return ImportBmp(file, builder);
        case Content::Other:
            return ImportByReader(file, builder, processors);
        case Content::Nothing:
            break;
    }
    return Fail(ErrorKind::Unsupported, Phrase("NOT_A_PICTURE", "not a picture in any known format"));
}

Result<void> Import(const Path& path, PictureBuilder& builder, Processors processors) {
    try {
        LUMATO_TRY(const PictureFile file, PictureFile::Open(path));
        return ImportFrom(file, builder, processors);
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, kBeyondMemory);
    }
}

}  // namespace

Result<void> CreateMyImage(const Path& file, bool flipRows, const ScaleNeeded& scaleNeeded, BitmapInfo& info,
                           Processors processors, Held held, RowTaker* taker) {
    info = {};
    PictureBuilder builder(info, flipRows, scaleNeeded, held, taker);
    auto imported = Import(file, builder, processors);
    if (!imported)
        info = {};
    return imported;
}

bool IsPicture(const Path& path) {
    const auto file = PictureFile::Open(path);
    if (!file)
        return false;
    return ContentOf(*file).value_or(Content::Nothing) != Content::Nothing;
}

Result<void> WritePng(const Path& file, int width, int height, ByteSpan pixels) {
    LUMATO_TRY(const Size size, CheckedSize(width, height));
    if (pixels.size() != static_cast<std::size_t>(size.Pixels()) * 3)
        return Fail(ErrorKind::Refused, "a PNG file of " + std::to_string(width) + " x " +
                                            std::to_string(height) + " pixels from " +
                                            std::to_string(pixels.size()) + " bytes");
    LUMATO_TRY(const auto png, EncodePng(width, height, pixels));
    return WriteFile(file, png);
}

}  // namespace lumato::picture
