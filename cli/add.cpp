// lumatoctl add: fits, composes, encodes and appends each picture, then downloads once.
#include <algorithm>

#include "base/printable.h"
#include "cli/commands.h"
#include "cli/pose_of.h"
#include "cli/session.h"
#include "picture/add_pictures.h"
#include "store/journal.h"
#include "store/safekeeping.h"

namespace lumato::cli {
namespace {

using picture::BatchReport;
using Added = std::vector<BatchReport::Added>;

// What became of each file.
struct Outcome {
    Added added;    // they are on the frame
    Added waiting;  // kept on this computer, not yet on the frame
    std::vector<std::pair<Path, std::string>> refused;
    std::optional<Failure> failure;  // of the download, or the frame has vanished
};

// Whether the picture comes back at the next connection: the journal on the disk has it.
bool IsKept(const BatchReport::Added& added) {
    const store::StoreState& store = store::Store();
    if (store.journal == nullptr)
        return false;
    const store::FileData* record = store.gmyPictureData->sentinel->next;
    while (record != nullptr && record->fileName != added.picture.name)
        record = record->next;
    return record != nullptr &&
           std::ranges::any_of(store.journal->pictures, [&](const store::JournalPicture& picture) {
               return picture.hash == record->streamHash;
           });
}

nlohmann::ordered_json AsJson(const Outcome& outcome) {
    nlohmann::ordered_json added = nlohmann::ordered_json::array();
    nlohmann::ordered_json refused = nlohmann::ordered_json::array();
    nlohmann::ordered_json waiting = nlohmann::ordered_json::array();
    for (const BatchReport::Added& one : outcome.added) {
        added.push_back({{"file", one.file.string()},
                         {"name", one.picture.name},
                         {"bytes", one.picture.bytes},
                         {"quality", one.picture.quality}});
        if (one.waited)
            added.back()["waited"] = true;
    }
    for (const auto& [file, reason] : outcome.refused)
        refused.push_back({{"file", file.string()}, {"reason", reason}});
    for (const BatchReport::Added& one : outcome.waiting)
        waiting.push_back(
            {{"file", one.file.string()}, {"name", one.picture.name}, {"bytes", one.picture.bytes}});
    const store::StoreState& store = store::Store();
    nlohmann::ordered_json json = {{"added", added},
                                   {"refused", refused},
                                   {"waiting", waiting},
                                   {"pictures", store.gmyTotalePictureNum},
                                   {"free_bytes", store.TotolFlashSizeForPic}};
    if (outcome.failure)
        json["error"] = outcome.failure->message;
    return json;
}

std::string AsText(const Outcome& outcome) {
    std::string text;
    for (const BatchReport::Added& one : outcome.added)
        text += "added " + Printable(one.file.string()) + ": " + Grouped(one.picture.bytes) +
                " bytes at quality " + std::to_string(one.picture.quality) +
                (one.waited ? " (it waited since an earlier call)\n" : "\n");
    const auto number = [](std::size_t count) { return static_cast<long long>(count); };
    const store::StoreState& store = store::Store();
    return text + Count(number(outcome.added.size()), "picture") + " added, " +
           (outcome.waiting.empty()
                ? ""
                : Grouped(number(outcome.waiting.size())) +
                      " kept, not yet on the frame (`lumatoctl download` writes them), ") +
           Grouped(number(outcome.refused.size())) + " refused; " +
           Count(store.gmyTotalePictureNum, "picture") + " in the frame, " +
           Grouped(store.TotolFlashSizeForPic) + " bytes free";
}

// Why the list did not get to the frame, if it did not.
std::optional<Failure> Download(Session& session, bool allTried) {
    if (!allTried)
        return Failure{kRefused, "the frame is no longer connected"};
    if (!store::DownloadIsDue())
        return std::nullopt;
    const auto done = session.Download();  // pictures that waited go with the new ones
    return done ? std::nullopt : std::optional(done.error());
}

Outcome AddAndDownload(Session& session, const Arguments& arguments) {
    BatchReport batch = picture::AddPictures(arguments.files, PoseOf(arguments.pose),
                                             picture::AfterRefusal::GoOn, {}, picture::Waiting::AddOnlyNew);
    Outcome outcome;
    for (const BatchReport::Refused& refused : batch.refused)
        outcome.refused.emplace_back(refused.file, Described(refused.reason));
    // Asked before the download: a frame that vanishes takes its list along.
    std::vector<bool> kept;
    std::ranges::transform(batch.added, std::back_inserter(kept), IsKept);
    outcome.failure = Download(session, batch.notTried.empty());
    if (!outcome.failure) {
        outcome.added = std::move(batch.added);
        return outcome;
    }
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (kept[i])
            outcome.waiting.push_back(batch.added[i]);
        else
            outcome.refused.emplace_back(batch.added[i].file, outcome.failure->message);
    }
    for (const Path& file : batch.notTried)
        outcome.refused.emplace_back(file, outcome.failure->message);
    return outcome;
}

}  // namespace

int RunAdd(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments);
    if (!session)
        return output.Failed(session.error());
    const Outcome outcome = AddAndDownload(**session, arguments);
    for (const auto& [file, reason] : outcome.refused)
        Output::Complain(Printable(file.string()) + ": " + reason);
    for (const BatchReport::Added& one : outcome.waiting)
        Output::Complain(Printable(one.file.string()) +
                         ": kept, not yet on the frame: " + outcome.failure->message);
    output.Result(AsJson(outcome), AsText(outcome));
    if (!outcome.refused.empty())
        return kRefused;
    return outcome.waiting.empty() ? kDone : kWaiting;
}

}  // namespace lumato::cli
