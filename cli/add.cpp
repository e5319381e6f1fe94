// lumatoctl add: fits, composes, encodes and appends each picture, then downloads once.
#include "base/printable.h"
#include "cli/commands.h"
#include "cli/pose_of.h"
#include "cli/session.h"
#include "picture/add_pictures.h"
#include "store/safekeeping.h"

namespace lumato::cli {
namespace {

using picture::BatchReport;

// What became of the call: the list and the frame agree, or nothing of it is on the frame.
struct Outcome {
    BatchReport batch;
    std::optional<Failure> failure;  // of the download, or the frame has vanished
};

// Everything that is not on the frame, with the reason.
std::vector<std::pair<Path, std::string>> Refusals(const Outcome& outcome) {
    std::vector<std::pair<Path, std::string>> refusals;
    for (const BatchReport::Refused& refused : outcome.batch.refused)
        refusals.emplace_back(refused.file, Described(refused.reason));
    if (outcome.failure) {
        for (const BatchReport::Added& added : outcome.batch.added)
            refusals.emplace_back(added.file, outcome.failure->message);
        for (const Path& file : outcome.batch.notTried)
            refusals.emplace_back(file, outcome.failure->message);
    }
    return refusals;
}

nlohmann::ordered_json AsJson(const Outcome& outcome) {
    nlohmann::ordered_json added = nlohmann::ordered_json::array();
    nlohmann::ordered_json refused = nlohmann::ordered_json::array();
    if (!outcome.failure) {
        for (const BatchReport::Added& one : outcome.batch.added)
            added.push_back({{"file", one.file.string()},
                             {"name", one.picture.name},
                             {"bytes", one.picture.bytes},
                             {"quality", one.picture.quality}});
    }
    for (const auto& [file, reason] : Refusals(outcome))
        refused.push_back({{"file", file.string()}, {"reason", reason}});
    const store::StoreState& store = store::Store();
    nlohmann::ordered_json json = {{"added", added},
                                   {"refused", refused},
                                   {"pictures", store.gmyTotalePictureNum},
                                   {"free_bytes", store.TotolFlashSizeForPic}};
    if (outcome.failure)
        json["error"] = outcome.failure->message;
    return json;
}

std::string AsText(const Outcome& outcome) {
    std::string text;
    if (!outcome.failure) {
        for (const BatchReport::Added& one : outcome.batch.added)
            text += "added " + Printable(one.file.string()) + ": " + Grouped(one.picture.bytes) +
                    " bytes at quality " + std::to_string(one.picture.quality) + "\n";
    }
    const store::StoreState& store = store::Store();
    const std::size_t added = outcome.failure ? 0 : outcome.batch.added.size();
    return text + Count(static_cast<long long>(added), "picture") + " added, " +
           Grouped(static_cast<long long>(Refusals(outcome).size())) + " refused; " +
           Count(store.gmyTotalePictureNum, "picture") + " in the frame, " +
           Grouped(store.TotolFlashSizeForPic) + " bytes free";
}

Outcome AddAndDownload(Session& session, const Arguments& arguments) {
    Outcome outcome;
    outcome.batch =
        picture::AddPictures(arguments.files, PoseOf(arguments.pose), picture::AfterRefusal::GoOn);
    if (!outcome.batch.notTried.empty())
        outcome.failure = Failure{kRefused, "the frame is no longer connected"};
    else if (store::DownloadIsDue())  // pictures that waited go with the new ones
        if (const auto done = session.Download(); !done)
            outcome.failure = done.error();
    return outcome;
}

}  // namespace

int RunAdd(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments);
    if (!session)
        return output.Failed(session.error());
    const Outcome outcome = AddAndDownload(**session, arguments);
    for (const auto& [file, reason] : Refusals(outcome))
        Output::Complain(Printable(file.string()) + ": " + reason);
    output.Result(AsJson(outcome), AsText(outcome));
    return Refusals(outcome).empty() ? kDone : kRefused;
}

}  // namespace lumato::cli
