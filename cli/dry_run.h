// What a download would do to the frame, without doing it.
//
// Main thread only, between a session's connection and its end.
#pragma once

#include <string>

#include <nlohmann/json.hpp>
#include <tl/expected.hpp>

#include "cli/output.h"
#include "store/download_cost.h"

namespace lumato::cli {

using DownloadWork = store::DownloadCost;

// From here on nothing that happens to the list of this session reaches the disk.
void BeginDryRun();
// What the download would do; nothing when none is due. The list is good for nothing else afterwards. Errors:
// what would make it fail.
[[nodiscard]] tl::expected<DownloadWork, Failure> EstimateDownload();

void AddTo(nlohmann::ordered_json& json, const DownloadWork& work);
// "9 blocks would be written (589,824 bytes), which takes about 7 s; nothing was".
[[nodiscard]] std::string WorkText(const DownloadWork& work);

}  // namespace lumato::cli
