// lumatoctl add: fits, composes, encodes and appends each picture, then downloads once.
#include <algorithm>

#include "base/printable.h"
#include "cli/add_sources.h"
#include "cli/commands.h"
#include "cli/dry_run.h"
#include "cli/file_roles.h"
#include "cli/pose_of.h"
#include "cli/session.h"
#include "cli/stop_on_signal.h"
#include "picture/add_pictures.h"
#include "store/journal.h"
#include "store/safekeeping.h"
#include "store/transfer.h"

namespace lumato::cli {
namespace {

using picture::BatchReport;
using Added = std::vector<BatchReport::Added>;

// What became of each file.
struct Outcome {
    Added added;    // they are on the frame
    Added waiting;  // kept on this computer, not yet on the frame
    std::vector<std::pair<Path, Phrase>> refused;
    std::vector<picture::Lowered> lowered;  // to make room
    int replaced = 0;      // the position of the picture whose place the only one was to take
    bool stopped = false;  // by Ctrl-C, before all was done
    int pictures = 0;      // of the list, those that are kept: a frame that vanishes takes the store's along
    int freeBytes = 0;     // beside them
    std::optional<Failure> failure;    // of the download, or the frame has vanished
    std::optional<DownloadWork> work;  // of a dry run, in which "added" are those that would be
};

// Whether the picture comes back at the next connection: the journal on the disk has it.
bool IsKept(const BatchReport::Added& added) {
    const store::StoreState& store = store::Store();
    if (store.journal == nullptr)
        return false;
    const int position = store::PositionOf(store.gmyPictureData.get(), added.picture.name);
    if (position == 0)
        return false;
    const store::FileData* record = store::GetNode(store.gmyPictureData.get(), position);
    return std::ranges::any_of(store.journal->pictures, [&](const store::JournalPicture& picture) {
        return picture.hash == record->streamHash;
    });
}

nlohmann::ordered_json AsJson(const Outcome& outcome, const AddSources& sources) {
    nlohmann::ordered_json added = nlohmann::ordered_json::array();
    nlohmann::ordered_json refused = nlohmann::ordered_json::array();
    nlohmann::ordered_json waiting = nlohmann::ordered_json::array();
    for (const BatchReport::Added& one : outcome.added) {
        added.push_back({{"file", sources.NameOf(one.file)},
                         {"name", one.picture.name},
                         {"bytes", one.picture.bytes},
                         {"quality", one.picture.quality}});
        if (one.waited)
            added.back()["waited"] = true;
        if (one.picture.copyOf != 0)
            added.back()["copy_of"] = one.picture.copyOf;
        if (!one.note.empty())
            added.back()["note"] = one.note.English();
    }
    for (const auto& [file, reason] : outcome.refused)
        refused.push_back({{"file", sources.NameOf(file)}, {"reason", reason.English()}});
    for (const BatchReport::Added& one : outcome.waiting)
        waiting.push_back(
            {{"file", sources.NameOf(one.file)}, {"name", one.picture.name}, {"bytes", one.picture.bytes}});
    nlohmann::ordered_json json = {{"added", added},
                                   {"refused", refused},
                                   {"waiting", waiting},
                                   {"pictures", outcome.pictures},
                                   {"free_bytes", outcome.freeBytes}};
    for (const picture::Lowered& one : outcome.lowered)
        json["lowered"].push_back({{"position", one.position},
                                   {"name", one.name},
                                   {"from", one.from},
                                   {"to", one.to},
                                   {"bytes", one.bytes}});
    if (outcome.work)
        AddTo(json, *outcome.work);
    if (outcome.failure)
        json["error"] = outcome.failure->message.English();
    if (outcome.stopped)
        json["stopped"] = true;
    AddRetries(json);
    return json;
}

std::string AsText(const Outcome& outcome, const AddSources& sources) {
    std::string text;
    if (!outcome.lowered.empty())
        text = (outcome.work ? "would lower " : "lowered ") + TextOf(outcome.lowered).English() +
               " to make room\n";
    for (const BatchReport::Added& one : outcome.added)
        text +=
            (outcome.work ? "would add " : "added ") + Printable(sources.NameOf(one.file)) + ": " +
            Grouped(one.picture.bytes) + " bytes at quality " + std::to_string(one.picture.quality) +
            (one.waited ? " (it waited since an earlier call)" : "") +
            (outcome.replaced != 0 ? " in the place of picture " + std::to_string(outcome.replaced) : "") +
            (one.picture.copyOf != 0 ? " (the same as picture " + std::to_string(one.picture.copyOf) + ")"
                                     : "") +
            InBrackets(one.note) + "\n";
    const auto number = [](std::size_t count) { return static_cast<long long>(count); };
    const std::string refused = Grouped(number(outcome.refused.size())) + " refused; ";
    if (outcome.work)
        return text + refused + WorkText(*outcome.work);
    const std::string waiting = outcome.waiting.empty()
                                    ? ""
                                    : Grouped(number(outcome.waiting.size())) +
                                          " kept, not yet on the frame (`lumatoctl download` writes them), ";
    return text + Count(number(outcome.added.size()), "picture") + " added, " + waiting + refused +
           Count(outcome.pictures, "picture") + (outcome.failure ? " in the list, " : " in the frame, ") +
           Grouped(outcome.freeBytes) + " bytes free";
}

// Why the list did not get to the frame, if it did not.
std::optional<Failure> Download(Session& session, bool allTried) {
    if (!allTried)
        return Failure{kRefused, StopOnSignal::HasCome() ? "stopped before the download"
                                                         : "the frame is no longer connected"};
    if (!store::DownloadIsDue())
        return std::nullopt;
    const auto done = session.Download();  // pictures that waited go with the new ones
    return done ? std::nullopt : std::optional(done.error());
}

// The download, or what it would write.
void Finish(Session& session, const Arguments& arguments, bool allTried, Outcome& outcome) {
    if (!arguments.dryRun || !allTried) {
        outcome.failure = Download(session, allTried);
        return;
    }
    outcome.work.emplace();
    if (!store::DownloadIsDue())
        return;
    if (const auto planned = EstimateDownload())
        outcome.work = *planned;
    else
        outcome.failure = planned.error();
}

BatchReport AddUntilStopped(const Arguments& arguments) {
    BatchReport none;
    none.notTried = arguments.files;
    if (!store::StartTransfer())
        return none;
    const store::TransferOwner owner;
    const StopOnSignal stopping;
    return picture::AddPictures(arguments.files, PoseOf(arguments.pose), picture::AfterRefusal::GoOn, {},
                                picture::Waiting::AddOnlyNew,
                                arguments.makeRoom ? picture::Room::Make : picture::Room::AsItIs,
                                arguments.replaceAt);
}

// Whether a download that ended early has brought it to the frame.
bool IsOnFrame(const BatchReport::Added& added) {
    store::FileDataHead* list = store::Store().gmyPictureData.get();
    const int position = store::PositionOf(list, added.picture.name);
    return position != 0 && store::GetNode(list, position)->inFrame == 1;
}

Outcome AddAndDownload(Session& session, const Arguments& arguments) {
    BatchReport batch = AddUntilStopped(arguments);
    Outcome outcome;
    outcome.lowered = batch.lowered;
    outcome.replaced = arguments.replaceAt;
    for (const BatchReport::Refused& refused : batch.refused)
        outcome.refused.emplace_back(refused.file, Described(refused.reason));
    // Asked before the download: a frame that vanishes takes its list along.
    std::vector<bool> kept;
    std::ranges::transform(batch.added, std::back_inserter(kept), IsKept);
    outcome.pictures = store::Store().gmyTotalePictureNum;
    outcome.freeBytes = store::Store().TotolFlashSizeForPic;
    Finish(session, arguments, batch.notTried.empty(), outcome);
    outcome.stopped = StopOnSignal::HasCome() && (store::Store().downloadStopped || !batch.notTried.empty());
    if (!outcome.failure) {
        outcome.added = std::move(batch.added);
        return outcome;
    }
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (IsOnFrame(batch.added[i])) {
            outcome.added.push_back(batch.added[i]);
            continue;
        }
        if (kept[i]) {
            outcome.waiting.push_back(batch.added[i]);
            continue;
        }
        outcome.refused.emplace_back(batch.added[i].file, outcome.failure->message);
        --outcome.pictures;
        outcome.freeBytes += batch.added[i].picture.bytes;
    }
    for (const Path& file : batch.notTried)
        outcome.refused.emplace_back(file, About("not tried", outcome.failure->message));
    return outcome;
}

}  // namespace

int RunAdd(const Arguments& arguments, const Output& output) {
    const Result<AddSources> sources = AddSources::Read(arguments.files);
    if (!sources)
        return output.Failed(sources.error().kind == ErrorKind::Unsupported ? kWrongUsage : kRefused,
                             sources.error().message);
    if (arguments.replaceAt != 0 && sources->Files().size() != 1)
        return output.Failed(kWrongUsage, "--replace puts one picture in the place of one");
    Arguments expanded = arguments;
    expanded.files = sources->Files();
    expanded.inputs.insert(expanded.inputs.end(), expanded.files.begin(), expanded.files.end());
    if (const auto harmless = CheckOutputs(expanded); !harmless)
        return output.Failed(harmless.error());
    const auto session = Session::Connect(expanded);
    if (!session)
        return output.Failed(session.error());
    if (const int count = store::Store().gmyTotalePictureNum; arguments.replaceAt > count)
        return output.Failed(NoSuchPicture(arguments.replaceAt, count, "nothing was changed"));
    const Outcome outcome = AddAndDownload(**session, expanded);
    for (const auto& [file, reason] : outcome.refused)
        Output::Complain(About(Printable(sources->NameOf(file)), reason));
    for (const BatchReport::Added& one : outcome.waiting)
        Output::Complain(About(Printable(sources->NameOf(one.file)),
                               About("kept, not yet on the frame", outcome.failure->message)));
    output.Result(AsJson(outcome, *sources), AsText(outcome, *sources));
    if (!outcome.refused.empty())
        return kRefused;
    return outcome.waiting.empty() ? kDone : kWaiting;
}

}  // namespace lumato::cli
