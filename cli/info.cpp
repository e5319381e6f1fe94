// lumatoctl info: what the frame says of itself, and its space.
#include <cstdio>

#include "cli/commands.h"
#include "cli/session.h"
#include "store/room_left.h"

namespace lumato::cli {
namespace {

nlohmann::ordered_json AsJson(const store::StoreState& store) {
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
    return json;
}

std::string Hex(std::int32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", digits, static_cast<unsigned>(value));
    return text;
}

std::string AsText(const store::StoreState& store) {
    const std::string room = store::RoomText().English();
    const std::string limit = store.G_TotalPicNum != 0 ? Grouped(store.G_TotalPicNum) : "none";
    return "LCD                " + std::to_string(static_cast<int>(store.gmyLcdWidth)) + " x " +
           std::to_string(static_cast<int>(store.gmyLcdHeight)) +  //
           "\nflash              " + Grouped(store.G_FlashTotalSize) + " bytes" + "\npicture table at   " +
           "0x" + Hex(store.G_PicListAddress, 6) +                         //
           "\npicture limit      " + limit +                               //
           "\nsampling value     " + std::to_string(store.G_YValue) +      //
           "\nstarting quality   " + std::to_string(store.G_PicQuality) +  //
           "\nerase instruction  " + Hex(store.eraseInstruction, 2) +      //
           "\npage option        " + std::to_string(store.pageOption) +    //
           "\npictures           " + Grouped(store.gmyTotalePictureNum) +  //
           "\nfree               " + Grouped(store.TotolFlashSizeForPic) + " bytes" +
           (room.empty() ? "" : ", " + room);
}

}  // namespace

int RunInfo(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments, Session::Purpose::Look);
    if (!session)
        return output.Failed(session.error());
    (*session)->NoteDownloadDue();
    output.Result(AsJson(store::Store()), AsText(store::Store()));
    return kDone;
}

}  // namespace lumato::cli
