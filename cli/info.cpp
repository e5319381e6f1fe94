// lumatoctl info: what the frame says of itself, and its space.
#include <cstdio>

#include "cli/commands.h"
#include "cli/session.h"
#include "device/comm_usb.h"
#include "report/frame_facts.h"
#include "store/room_left.h"

namespace lumato::cli {
namespace {

std::string Hex(std::int32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", digits, static_cast<unsigned>(value));
    return text;
}

std::string AsText(const store::StoreState& store) {
    const std::string room = store::RoomText().English();
    const std::string limit = store.G_TotalPicNum != 0 ? Grouped(store.G_TotalPicNum) : "none";
    const auto frame = device::Link().Attached();
    const device::FrameModel model = frame != nullptr ? frame->Model() : device::FrameModel();
    return "model              " + model.name + "\nfirmware           " + model.firmware +  //
           "\nLCD                " + std::to_string(static_cast<int>(store.gmyLcdWidth)) + " x " +
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
    output.Result(report::FrameFacts(), AsText(store::Store()));
    return kDone;
}

}  // namespace lumato::cli
