// lumatoctl download: finishes a download that broke off, or writes what waits.
#include "cli/commands.h"
#include "cli/dry_run.h"
#include "cli/session.h"
#include "store/safekeeping.h"

namespace lumato::cli {
namespace {

nlohmann::ordered_json AsJson(int written) {
    const store::StoreState& store = store::Store();
    return {{"written", written},
            {"pictures", store.gmyTotalePictureNum},
            {"free_bytes", store.TotolFlashSizeForPic}};
}

int SayWork(const Output& output, bool due, int waiting) {
    const auto work = due ? EstimateDownload() : DownloadWork();
    if (!work)
        return output.Failed(work.error());
    nlohmann::ordered_json json = AsJson(waiting);
    AddTo(json, *work);
    output.Result(json, Count(waiting, "picture") + " to be written; " + AsText(*work));
    return kDone;
}

}  // namespace

int RunDownload(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments);
    if (!session)
        return output.Failed(session.error());

    const bool due = store::DownloadIsDue();
    const int waiting = CountWaiting();
    if (arguments.dryRun)
        return SayWork(output, due, waiting);
    if (due) {
        if (const auto done = (*session)->Download(); !done)
            return output.Failed(kWaiting, done.error().message);
    }
    const store::StoreState& store = store::Store();
    output.Result(AsJson(waiting), (due ? Count(waiting, "picture") + " written; " : "nothing was due; ") +
                                       Count(store.gmyTotalePictureNum, "picture") + " in the frame, " +
                                       Grouped(store.TotolFlashSizeForPic) + " bytes free");
    return kDone;
}

}  // namespace lumato::cli
