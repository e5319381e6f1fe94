// lumatoctl download: finishes a download that broke off, or writes what waits.
#include "cli/commands.h"
#include "cli/dry_run.h"
#include "cli/session.h"
#include "store/safekeeping.h"

namespace lumato::cli {
namespace {

nlohmann::ordered_json AsJson(int written) {
    const store::StoreState& store = store::Store();
    nlohmann::ordered_json json = {{"written", written},
                                   {"pictures", store.gmyTotalePictureNum},
                                   {"free_bytes", store.TotolFlashSizeForPic}};
    AddRetries(json);
    return json;
}

int SayWork(const Output& output, bool due, int waiting) {
    const auto work = due ? EstimateDownload() : DownloadWork();
    if (!work)
        return output.Failed(work.error());
    nlohmann::ordered_json json = AsJson(waiting);
    AddTo(json, *work);
    output.Result(json, Count(waiting, "picture") + " to be written; " + WorkText(*work));
    return kDone;
}

int SayStopped(const Output& output, int waitedBefore, const Phrase& message) {
    Output::Complain(message);
    const int written = waitedBefore - CountWaiting();
    nlohmann::ordered_json json = AsJson(written);
    json["stopped"] = true;
    output.Result(json,
                  Count(written, "picture") + " written, " + Count(CountWaiting(), "picture") + " waiting");
    return kWaiting;
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
        const auto done = (*session)->Download();
        if (!done && store::Store().downloadStopped)
            return SayStopped(output, waiting, done.error().message);
        if (!done)
            return output.Failed(kWaiting, done.error().message);
    }
    const store::StoreState& store = store::Store();
    output.Result(AsJson(waiting), (due ? Count(waiting, "picture") + " written; " : "nothing was due; ") +
                                       Count(store.gmyTotalePictureNum, "picture") + " in the frame, " +
                                       Grouped(store.TotolFlashSizeForPic) + " bytes free");
    return kDone;
}

}  // namespace lumato::cli
