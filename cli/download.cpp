// lumatoctl download: finishes a download that broke off, or writes what waits.
#include "cli/commands.h"
#include "cli/session.h"
#include "store/safekeeping.h"

namespace lumato::cli {

int RunDownload(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments);
    if (!session)
        return output.Failed(session.error());

    const bool due = store::DownloadIsDue();
    const int waiting = CountWaiting();
    if (due) {
        if (const auto done = (*session)->Download(); !done)
            return output.Failed(kWaiting, done.error().message);
    }
    const store::StoreState& store = store::Store();
    output.Result({{"written", waiting},
                   {"pictures", store.gmyTotalePictureNum},
                   {"free_bytes", store.TotolFlashSizeForPic}},
                  (due ? Count(waiting, "picture") + " written; " : "nothing was due; ") +
                      Count(store.gmyTotalePictureNum, "picture") + " in the frame, " +
                      Grouped(store.TotolFlashSizeForPic) + " bytes free");
    return kDone;
}

}  // namespace lumato::cli
