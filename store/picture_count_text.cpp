#include "store/picture_count_text.h"

#include <cstdio>

#include "store/store_state.h"

namespace lumato::store {

std::string SpaceText() {
    const StoreState& store = Store();
    char text[40];
    if (store.G_TotalPicNum != 0)
        std::snprintf(text, sizeof text, "%03d/%03d", store.gmyTotalePictureNum, store.G_TotalPicNum);
    else
        std::snprintf(text, sizeof text, "%dK/%dK",
                      (store.geometry.flashSize - store.TotolFlashSizeForPic) / 1024,
                      store.geometry.flashSize / 1024);
    return text;
}

}  // namespace lumato::store
