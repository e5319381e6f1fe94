// lumatoctl frame new: makes a fresh virtual frame.
#include <limits>

#include "base/printable.h"
#include "cli/commands.h"
#include "vframe/new_frame.h"

namespace lumato::cli {
namespace {

std::uint32_t Clamped(std::uint64_t value) {
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(value, std::numeric_limits<std::uint32_t>::max()));
}

vframe::NewFrame FrameWanted(const Arguments& arguments) {
    const NewFrameArguments& fresh = arguments.newFrame;
    vframe::NewFrame frame;
    frame.lcdWidth = static_cast<std::uint32_t>(arguments.size->width);
    frame.lcdHeight = static_cast<std::uint32_t>(arguments.size->height);
    frame.flashSize = Clamped(fresh.flashBytes);
    frame.tableAddress = Clamped(fresh.tableAddress);
    frame.pictureLimit = static_cast<std::uint32_t>(fresh.limit);
    frame.sampling = static_cast<std::uint32_t>(fresh.sampling);
    frame.quality = static_cast<std::uint32_t>(fresh.quality);
    frame.eraseInstruction = fresh.erase;
    frame.pageOption = static_cast<std::uint32_t>(fresh.pageOption);
    if (fresh.firmwareEnd)
        frame.firmwareEnd = Clamped(*fresh.firmwareEnd);
    return frame;
}

}  // namespace

int RunFrameNew(const Arguments& arguments, const Output& output) {
    const Path& file = arguments.files.front();
    if (const auto& dump = arguments.newFrame.from) {
        if (const Result<void> made = vframe::CreateFrame(file, *dump); !made)
            return output.Failed(made.error().kind == ErrorKind::Unsupported ? kNoFrame : kRefused,
                                 made.error().message);
        output.Result({{"file", file.string()}}, "made " + Printable(file.string()));
        return kDone;
    }
    const vframe::NewFrame frame = FrameWanted(arguments);
    if (const Result<void> possible = vframe::CheckNewFrame(frame); !possible)
        return output.Failed(kWrongUsage, possible.error().message);
    if (const Result<void> made = vframe::CreateFrame(file, frame); !made)
        return output.Failed(kRefused, made.error().message);
    output.Result({{"file", file.string()}}, "made " + Printable(file.string()));
    return kDone;
}

}  // namespace lumato::cli
