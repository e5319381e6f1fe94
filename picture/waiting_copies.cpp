#include "picture/waiting_copies.h"

#include <algorithm>
#include <memory>

#include "jpeg/encoder.h"
#include "picture/bitmap_file.h"
#include "picture/rv512_encoder.h"
#include "store/store.h"

namespace lumato::picture {
namespace {

// The encoder takes rows of whole 4 bytes.
std::vector<std::uint8_t> WithPaddedRows(ByteSpan pixels, int width, int height) {
    const auto row = static_cast<std::size_t>(width) * 3;
    const std::size_t stride = BitmapStride(width);
    std::vector<std::uint8_t> padded(stride * static_cast<std::size_t>(height));
    for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y)
        std::ranges::copy(pixels.subspan(y * row, row),
                          padded.begin() + static_cast<std::ptrdiff_t>(y * stride));
    return padded;
}

// A frame with a limit of pictures has its share of space grow while others wait, and the quality with it.
std::vector<int> PossibleQualities() {
    const store::StoreState& store = store::Store();
    if (store.G_TotalPicNum == 0)
        return {Pictures().G_CurQuanlity};
    std::vector<int> qualities{store.G_PicQuality};
    while (qualities.back() > kQualityStep)
        qualities.push_back(qualities.back() - kQualityStep);
    return qualities;
}

}  // namespace

WaitingCopies::WaitingCopies() {
    const store::FileDataHead* list = store::Store().gmyPictureData.get();
    for (const store::FileData* record = list != nullptr ? list->sentinel->next : nullptr; record != nullptr;
         record = record->next) {
        if (record->inFrame != 1 && record->streamHash)
            m_copies.push_back({{record->fileName, record->picSize}, *record->streamHash});
    }
}

std::optional<AddedPicture> WaitingCopies::TakeStream(ByteSpan stream, int quality) {
    const auto sameSize = [&](const Copy& copy) {
        return copy.picture.bytes == static_cast<int>(stream.size());
    };
    if (std::ranges::none_of(m_copies, sameSize))
        return std::nullopt;
    const auto found = std::ranges::find(m_copies, Sha256(stream), &Copy::hash);
    if (found == m_copies.end())
        return std::nullopt;
    AddedPicture picture = std::move(found->picture);
    picture.quality = quality;
    m_copies.erase(found);
    return picture;
}

std::optional<AddedPicture> WaitingCopies::Take(ByteSpan pixels) {
    if (m_copies.empty())
        return std::nullopt;
    const store::StoreState& store = store::Store();
    const auto width = static_cast<int>(store.gmyLcdWidth);
    const auto height = static_cast<int>(store.gmyLcdHeight);
    const int mode = ModeOf(store.G_YValue);
    const std::vector<std::uint8_t> rows = WithPaddedRows(pixels, width, height);
    const auto stream =
        std::make_unique_for_overwrite<std::uint8_t[]>(jpeg::MaximumStreamSize(width, height, mode));
    for (const int quality : PossibleQualities()) {
        int size = 0;
        if (!jpeg::CVaskJpegEncoder(quality).CompressImage(rows.data(), stream.get(), width, height, size,
                                                           mode))
            return std::nullopt;
        if (auto found = TakeStream(ByteSpan(stream.get(), static_cast<std::size_t>(size)), quality))
            return found;
    }
    return std::nullopt;
}

}  // namespace lumato::picture
