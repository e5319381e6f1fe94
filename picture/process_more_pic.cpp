#include <memory>
#include <utility>

#include "base/printable.h"
#include "picture/add_pictures.h"
#include "picture/import_ahead.h"
#include "picture/messages.h"
#include "store/transfer.h"

namespace lumato::picture {
namespace {

std::string NameFor(const Path& file) {
    return Printable(file.filename().string());
}

// Leaves the edit view without a picture.
void GiveBack(ImportAhead& imports) {
    ReleaseMyImage();
    std::unique_ptr<BitmapInfo> picture = std::move(Pictures().gmyCGimagebi);
    ReleaseSelection();
    imports.GiveBack(std::move(picture));
}

// Selects, poses and adds one file. True when the batch goes on.
bool AddOne(const Path& file, ImportAhead& imports, const Pose& pose, AfterRefusal policy,
            BatchReport& report) {
    GiveBack(imports);
    Result<void> selected = SelectImported(file, imports.Next());
    if (!selected) {
        report.refused.push_back({file, std::move(selected).error(), true});
        return true;
    }
    ApplyPose(pose);
    // A batch that stops leaves the picture at which it stopped in the edit view; one that goes on leaves
    // none, and the next import may begin while this one is encoded and written.
    const auto release = [&] {
        if (policy == AfterRefusal::GoOn)
            GiveBack(imports);
    };
    Result<AddedPicture> added =
        GetPicDataFromView(WithTopLeftCorner(store::Store().gmyDrawrect), true, release);
    if (added) {
        report.added.push_back({file, std::move(*added)});
        return true;
    }
    report.refused.push_back({file, std::move(added).error()});
    if (store::StatusPort* status = store::Store().status)
        status->SetNoteDetail(NameFor(file) + ": " + report.refused.back().reason.cause);
    return policy == AfterRefusal::GoOn;
}

std::string NotTriedText(std::size_t count) {
    return count == 0 ? ""
                      : "; " + std::to_string(count) + (count == 1 ? " picture was" : " pictures were") +
                            " not tried";
}

// What a batch that left something out says in the end: the file and the reason that stopped it, or the
// files that are no pictures.
void ShowOutcome(const BatchReport& report) {
    store::StatusPort* status = store::Store().status;
    if (report.refused.empty()) {
        if (!report.notTried.empty())
            status->SetNoteDetail("the frame is no longer connected" + NotTriedText(report.notTried.size()));
        return;
    }
    const BatchReport::Refused& last = report.refused.back();
    const std::string reason = NameFor(last.file) + ": " + last.reason.cause;
    if (!last.unreadable) {
        status->SetNoteDetail(reason + NotTriedText(report.notTried.size()));
        return;
    }
    const std::size_t others = report.refused.size() - 1;
    ShowNote(kCannotRead,
             reason + (others == 0 ? "" : "; " + std::to_string(others) + " more could not be read"));
}

// Holds the edit view still until the batch has ended, however it ends.
class StillView {
  public:
    StillView() { Pictures().redrawHeld = true; }
    ~StillView() {
        Pictures().redrawHeld = false;
        RequestRedraw();
    }
    StillView(const StillView&) = delete;
    StillView& operator=(const StillView&) = delete;
};

}  // namespace

BatchReport AddPictures(const std::vector<Path>& files, const Pose& pose, AfterRefusal policy,
                        const BatchProgress& progress) {
    const store::StoreState& store = store::Store();
    ImportAhead imports(files, store.gmyLcdWidth, store.gmyLcdHeight);
    BatchReport report;
    auto file = files.begin();
    for (bool goOn = true; goOn && file != files.end() && store::FrameOnline(); ++file) {
        if (progress)
            progress(static_cast<std::size_t>(file - files.begin()));
        goOn = AddOne(*file, imports, pose, policy, report);
    }
    report.notTried.assign(file, files.end());
    return report;
}

BatchReport ProcessMorePic(const std::vector<Path>& files) {
    store::StoreState& store = store::Store();
    store::TransferOwner owner;
    owner.PostRefresh();
    store.gmyIsTransferData = true;
    store.status->SetControlPanlEnable(false);
    BatchReport report;
    {
        const StillView still;
        report = AddPictures(files, {}, AfterRefusal::Stop, [&](std::size_t tried) {
            store.status->SetDownLoadPrcess(static_cast<int>(100 * tried / files.size()));
        });
    }
    store.status->ShowPictureList(store.gmyTotalePictureNum, store.gmyCurrentSelectItem);
    store.status->SetDownLoadPrcess(0);
    ShowOutcome(report);
    return report;
}

}  // namespace lumato::picture
