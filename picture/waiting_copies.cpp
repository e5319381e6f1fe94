#include "picture/waiting_copies.h"

#include <algorithm>

#include "picture/pixel_encoder.h"
#include "store/store.h"

namespace lumato::picture {
namespace {

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
    for (const store::FileData& record : store::EachOf(store::Store().gmyPictureData)) {
        if (record.inFrame != 1 && record.streamHash)
            m_copies.push_back({{record.fileName, record.picSize}, *record.streamHash});
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
    PixelEncoder encoder(pixels);
    for (const int quality : PossibleQualities()) {
        const auto stream = encoder.At(quality);
        if (!stream)
            return std::nullopt;
        if (auto found = TakeStream(*stream, quality))
            return found;
    }
    return std::nullopt;
}

}  // namespace lumato::picture
