#include "store/room_left.h"

#include <algorithm>
#include <cstdio>

#include "store/store.h"

namespace lumato::store {
namespace {

// Of the listed pictures, on average; 0 for none.
std::int64_t UsualBytes() {
    const FileDataHead* list = Store().gmyPictureData.get();
    std::int64_t total = 0;
    for (const FileData& record : EachOf(list))
        total += record.picSize;
    return list != nullptr && list->count > 0 ? total / list->count : 0;
}

std::string Megabytes(std::int64_t bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1e6);
    return text;
}

}  // namespace

std::optional<int> RoomForMore() {
    const StoreState& store = Store();
    const std::int64_t usual = UsualBytes();
    if (usual <= 0 || !store.geometry.whyReadOnly.empty())
        return std::nullopt;
    const int places = std::max(0, store.geometry.mostPictures - store.gmyTotalePictureNum);
    // A frame with a limit comes down with the quality until each of its places is taken.
    if (store.G_TotalPicNum != 0)
        return store.TotolFlashSizeForPic > 0 ? places : 0;
    return static_cast<int>(std::min<std::int64_t>(store.TotolFlashSizeForPic / usual, places));
}

Phrase RoomText() {
    const auto more = RoomForMore();
    if (!more)
        return {};
    if (Store().G_TotalPicNum != 0)
        return Phrase("PLACES_LEFT", "places for {0} more", *more);
    return *more == 0 ? Phrase("NO_ROOM_LEFT", "no room for another one like these")
                      : Phrase("ROOM_LEFT", "room for about {0} more like these", *more);
}

Phrase BatchRoomText(int pictures) {
    const auto more = RoomForMore();
    if (!more)
        return {};
    if (Store().G_TotalPicNum != 0)
        return Phrase("BATCH_AND_PLACES", "{0} pictures, and places for {1} more", pictures, *more);
    return Phrase("BATCH_TAKES", "these {0} take about {1}, {2} are free: {3}", pictures,
                  Megabytes(UsualBytes() * pictures), Megabytes(Store().TotolFlashSizeForPic),
                  *more >= pictures ? Phrase("BATCH_FITS", "they fit")
                                    : Phrase("BATCH_FITS_PARTLY", "about {0} fit", *more));
}

}  // namespace lumato::store
