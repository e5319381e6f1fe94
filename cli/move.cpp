// lumatoctl move: gives a picture another place in the order.
#include <algorithm>
#include <string>

#include "cli/commands.h"
#include "cli/dry_run.h"
#include "cli/session.h"
#include "store/list_order.h"

namespace lumato::cli {
namespace {

int Report(const Output& output, const std::string& text, const std::optional<DownloadWork>& work) {
    nlohmann::ordered_json json = {{"pictures", store::Store().gmyTotalePictureNum}};
    if (work)
        AddTo(json, *work);
    AddRetries(json);
    output.Result(json, work ? text + "; " + WorkText(*work) : text);
    return kDone;
}

}  // namespace

int RunMove(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments);
    if (!session)
        return output.Failed(session.error());
    const int from = arguments.position;
    const int to = arguments.newPosition;
    const int count = store::Store().gmyTotalePictureNum;
    if (!store::MovePicture(from, to))
        return output.Failed(NoSuchPicture(std::max(from, to), count, "nothing was moved"));
    const std::string what = "picture " + std::to_string(from);
    const std::string place = " at position " + std::to_string(to);
    if (!store::ListDiffers())
        return Report(output, what + " stays" + place,
                      arguments.dryRun ? std::optional(DownloadWork()) : std::nullopt);
    if (arguments.dryRun) {
        const auto work = EstimateDownload();
        return work ? Report(output, what + " would be" + place, *work) : output.Failed(work.error());
    }
    if (const auto done = (*session)->Download(); !done)
        return output.Failed(done.error());
    return Report(output, what + " is now" + place, std::nullopt);
}

}  // namespace lumato::cli
