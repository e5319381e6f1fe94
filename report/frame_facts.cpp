#include "report/frame_facts.h"

#include "device/comm_usb.h"
#include "store/room_left.h"
#include "store/store.h"

namespace lumato::report {

nlohmann::ordered_json FrameFacts() {
    const store::StoreState& store = store::Store();
    nlohmann::ordered_json json = {{"lcd_width", static_cast<int>(store.gmyLcdWidth)},
                                   {"lcd_height", static_cast<int>(store.gmyLcdHeight)},
                                   {"flash_size", store.G_FlashTotalSize},
                                   {"table_address", store.G_PicListAddress},
                                   {"picture_limit", store.G_TotalPicNum},
                                   {"sampling", store.G_YValue},
                                   {"quality", store.G_PicQuality},
                                   {"erase_instruction", store.eraseInstruction},
                                   {"page_option", store.pageOption},
                                   {"pictures", store.gmyTotalePictureNum},
                                   {"free_bytes", store.TotolFlashSizeForPic}};
    if (const auto more = store::RoomForMore())
        json["room_for"] = *more;
    if (const auto frame = device::Link().Attached()) {
        json["model"] = frame->Model().name;
        json["firmware"] = frame->Model().firmware;
    }
    return json;
}

}  // namespace lumato::report
