// lumatoctl delete: takes pictures off the frame.
#include <algorithm>
#include <string>

#include "cli/commands.h"
#include "cli/confirm.h"
#include "cli/dry_run.h"
#include "cli/session.h"
#include "store/safekeeping.h"

namespace lumato::cli {
namespace {

void DeleteAll() {
    store::Store().gmyDeleteAll = true;
    store::DeletePictures();
    store::Store().gmyDeleteAll = false;
}

int Report(const Output& output, int deleted, const std::optional<DownloadWork>& work = std::nullopt) {
    const store::StoreState& store = store::Store();
    nlohmann::ordered_json json = {{"pictures", store.gmyTotalePictureNum},
                                   {"free_bytes", store.TotolFlashSizeForPic}};
    if (work)
        AddTo(json, *work);
    AddRetries(json);
    output.Result(json, work ? Count(deleted, "picture") + " would be deleted; " + WorkText(*work)
                             : Count(deleted, "picture") + " deleted, " + Grouped(store.gmyTotalePictureNum) +
                                   " left, " + Grouped(store.TotolFlashSizeForPic) + " bytes free");
    return kDone;
}

}  // namespace

int RunDelete(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments);
    if (!session)
        return output.Failed(session.error());

    const int before = store::Store().gmyTotalePictureNum;
    const std::vector<int>& positions = arguments.positions;
    if (const auto highest = std::ranges::max_element(positions);
        highest != positions.end() && *highest > before)
        return output.Failed(NoSuchPicture(*highest, before, "nothing was deleted"));
    if (arguments.all && before > 0 &&
        !Confirmed(arguments, (*session)->Status(),
                   "Delete all " + Count(before, "picture") + " of the frame?"))
        return output.Failed(kRefused, "nothing was deleted");
    if (arguments.all)
        DeleteAll();
    else
        store::DeletePicturesAt(positions);

    const int deleted = before - store::Store().gmyTotalePictureNum;
    if (deleted == 0 && !store::DownloadIsDue())
        return Report(output, 0, arguments.dryRun ? std::optional(DownloadWork()) : std::nullopt);
    if (arguments.dryRun) {
        const auto work = EstimateDownload();
        return work ? Report(output, deleted, *work) : output.Failed(work.error());
    }
    if (const auto done = (*session)->Download(); !done)
        return output.Failed(done.error());
    return Report(output, deleted);
}

}  // namespace lumato::cli
