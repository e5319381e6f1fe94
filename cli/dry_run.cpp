#include "cli/dry_run.h"

#include <cstdio>

#include "store/store.h"

namespace lumato::cli {

void BeginDryRun() {
    store::Store().journalFolder.clear();
}

tl::expected<DownloadWork, Failure> EstimateDownload() {
    const Result<DownloadWork> work = store::CostOfDownload();
    if (!work)
        return tl::unexpected<Failure>(Failure{kRefused, work.error().message});
    return *work;
}

void AddTo(nlohmann::ordered_json& json, const DownloadWork& work) {
    json["blocks"] = work.blocks;
    json["bytes"] = work.bytes;
    json["seconds"] = work.seconds;
}

std::string WorkText(const DownloadWork& work) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f s", work.seconds);
    return Count(work.blocks, "block") + " would be written (" + Grouped(work.bytes) +
           " bytes), which takes about " + seconds + "; nothing was";
}

}  // namespace lumato::cli
