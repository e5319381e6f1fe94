// lumatoctl restore: the frame gets the pictures of a backup, and no others.
#include "backup/restore_frame.h"
#include "base/printable.h"
#include "cli/commands.h"
#include "cli/confirm.h"
#include "cli/dry_run.h"
#include "cli/session.h"

namespace lumato::cli {
namespace {

using backup::Restoration;
using backup::RestoredPicture;

int CountRefused(const Restoration& restoration) {
    return static_cast<int>(restoration.Pictures().size()) - restoration.Count();
}

nlohmann::ordered_json AsJson(const std::vector<RestoredPicture>& pictures) {
    nlohmann::ordered_json made = nlohmann::ordered_json::array();
    nlohmann::ordered_json refused = nlohmann::ordered_json::array();
    for (const RestoredPicture& picture : pictures) {
        if (picture.refused.empty())
            made.push_back({{"name", picture.name}, {"made", backup::TextOf(picture.made)}});
        else
            refused.push_back({{"name", picture.name}, {"reason", picture.refused.English()}});
    }
    const store::StoreState& store = store::Store();
    return {{"restored", made.size()},
            {"made", made},
            {"refused", refused},
            {"pictures", store.gmyTotalePictureNum},
            {"free_bytes", store.TotolFlashSizeForPic}};
}

std::string AsText(const std::vector<RestoredPicture>& pictures, const std::string& outcome) {
    std::string text = outcome;
    for (const RestoredPicture& picture : pictures) {
        if (!picture.refused.empty())
            text +=
                "\n" + Printable(picture.name) + ": not restored: " + Printable(picture.refused.English());
        else if (picture.made != backup::Made::AsItWas)
            text += "\n" + Printable(picture.name) + ": made " + backup::TextOf(picture.made);
    }
    return text;
}

std::string Question(const Restoration& restoration) {
    return "Replace the frame's " + Count(store::Store().gmyTotalePictureNum, "picture") +
           " by the backup's " + std::to_string(restoration.Count()) + "? " +
           Count(restoration.Lost(), "picture") + " would be gone: not in the backup.";
}

// What is lost is named first: nobody is asked in a script.
int Restore(Session& session, const Arguments& arguments, const Output& output, Restoration restoration) {
    if (restoration.Lost() > 0 && !Confirmed(arguments, session.Status(), Question(restoration)))
        return output.Failed(kRefused, "nothing was restored");
    const std::vector<RestoredPicture> pictures = restoration.Pictures();
    const int refused = CountRefused(restoration);
    const int lost = restoration.Lost();
    restoration.Apply();
    const std::string counts = Count(store::Store().gmyTotalePictureNum, "picture");
    if (arguments.dryRun) {
        const auto work = EstimateDownload();
        if (!work)
            return output.Failed(work.error());
        nlohmann::ordered_json json = AsJson(pictures);
        AddTo(json, *work);
        json["lost"] = lost;
        AddRetries(json);
        output.Result(json, AsText(pictures, counts + " would be restored, " + std::to_string(lost) +
                                                 " of the frame's are not among them; " + WorkText(*work)));
    } else {
        const auto journal = store::Store().journal;
        if (const auto done = session.Download(); !done) {
            // Stopped before any journal had them, they do not wait.
            const bool kept = !store::Store().downloadStopped || store::Store().journal != journal;
            return output.Failed(kept ? done.error().status : kRefused, done.error().message);
        }
        nlohmann::ordered_json json = AsJson(pictures);
        AddRetries(json);
        output.Result(json, AsText(pictures, counts + " restored"));
    }
    return refused > 0 ? kRefused : kDone;
}

}  // namespace

int RunRestore(const Arguments& arguments, const Output& output) {
    const Result<backup::Backup> backup = backup::ReadBackup(arguments.files.front());
    if (!backup)
        return output.Failed(kRefused, backup.error().message);
    const auto session = Session::Connect(arguments);
    if (!session)
        return output.Failed(session.error());
    Result<Restoration> restoration = lumato::Fail(ErrorKind::Busy, "the frame is busy");
    (*session)->Work([&] { restoration = backup::PrepareRestoration(*backup); });
    if (!restoration)
        return output.Failed(kRefused, restoration.error().message);
    return Restore(**session, arguments, output, std::move(*restoration));
}

}  // namespace lumato::cli
