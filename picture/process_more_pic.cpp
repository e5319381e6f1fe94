#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include "base/printable.h"
#include "import/stop_question.h"
#include "picture/add_pictures.h"
#include "picture/messages.h"
#include "picture/waiting_copies.h"
#include "picture/work_ahead.h"
#include "store/progress_meter.h"
#include "store/transfer.h"

namespace lumato::picture {
namespace {

std::string NameFor(const Path& file) {
    return Printable(file.filename().string());
}

using Pixels = std::vector<std::uint8_t>;

std::size_t AtOnce() {
    return std::max(1U, std::thread::hardware_concurrency());
}

// How many compositions may be held, begun ones included: their pixels take memory, however many processors
// there are.
std::size_t MostHeld(int lcdWidth, int lcdHeight) {
    constexpr std::size_t kMostPixels = std::size_t{1} << 23;
    constexpr std::size_t kWaiting = 2;  // while a picture takes longer than others to be written
    const std::size_t pixels = static_cast<std::size_t>(lcdWidth) * static_cast<std::size_t>(lcdHeight);
    return std::clamp<std::size_t>(kMostPixels / pixels, 1, AtOnce() + kWaiting);
}

// The same of pictures that are held for a pose: twice as long as the longest scaled side, or up to twice
// that again.
std::size_t MostPosed(float lcdWidth, float lcdHeight) {
    constexpr double kMostBytes = 64e6;
    const double side = 2.0 * static_cast<double>(LargestScaledSide(lcdWidth, lcdHeight));
    return std::clamp<std::size_t>(static_cast<std::size_t>(kMostBytes / (8 * side * side)), 1, AtOnce());
}

// A single file has all processors for itself.
Processors For(const std::vector<Path>& files, std::size_t atOnce) {
    return files.size() < 2 || atOnce < 2 ? Processors::All : Processors::One;
}

// For a thread that the program's user may want to stop.
template <class Make>
auto Prepared(Make make) -> decltype(make()) {
    const StopQuestion question(store::StopRequested);
    try {
        return make();
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, kBeyondMemory);
    }
}

template <class Outcome>
bool IsStopped(const Outcome& outcome) {
    return !outcome && outcome.error().kind == ErrorKind::Gone;
}

// As AddComposed() takes it, and the note of its import.
struct Composed {
    Result<Pixels> pixels{};
    Phrase note{};
};

// The pictures of a batch in the order of its files.
class Compositions {
  public:
    virtual ~Compositions() = default;
    // Errors: the file cannot be read, and a note said so; Gone: the batch is stopped.
    [[nodiscard]] virtual Result<Composed> Next(const Path& file) = 0;
};

// Read and composed on all processors while those before are encoded and written. None is held.
class FittedCompositions : public Compositions {
  public:
    FittedCompositions(const std::vector<Path>& files, int lcdWidth, int lcdHeight)
        : m_held(MostHeld(lcdWidth, lcdHeight)),
          m_composed(files.size(), std::min(AtOnce(), m_held), m_held,
                     [&files, lcdWidth, lcdHeight, processors = For(files, m_held)](std::size_t i) {
                         Composed composed;
                         composed.pixels = Prepared([&] {
                             return ComposeFitted(files[i], lcdWidth, lcdHeight, processors, &composed.note);
                         });
                         return composed;
                     }) {}

    Result<Composed> Next(const Path& file) override {
        Composed composed = m_composed.Next();
        if (IsStopped(composed.pixels))
            return tl::unexpected(std::move(composed.pixels).error());
        if (!composed.pixels)
            LUMATO_TRY_VOID(SelectImported(file, tl::unexpected(std::move(composed.pixels).error())));
        return composed;
    }

  private:
    const std::size_t m_held;
    WorkAhead<Composed> m_composed;
};

// Read on several processors, and posed by the controls. Each is held: tens of megabytes.
class PosedCompositions : public Compositions {
  public:
    PosedCompositions(const std::vector<Path>& files, float lcdWidth, float lcdHeight, const Pose& pose)
        : m_most(MostPosed(lcdWidth, lcdHeight)),
          m_imported(files.size(), m_most, m_most,
                     [&files, lcdWidth, lcdHeight, processors = For(files, m_most)](std::size_t i) {
                         return Prepared(
                             [&] { return ImportForEditView(files[i], lcdWidth, lcdHeight, processors); });
                     }),
          m_pose(pose) {}

    Result<Composed> Next(const Path& file) override {
        auto imported = m_imported.Next();
        if (IsStopped(imported))
            return tl::unexpected(std::move(imported).error());
        LUMATO_TRY_VOID(SelectImported(file, std::move(imported)));
        ApplyPose(m_pose);
        Composed composed{RenderLcdBitmap(WithTopLeftCorner(store::Store().gmyDrawrect)),
                          Pictures().gmyCGimagebi->note};
        ReleaseSelection();
        m_imported.Release();
        return composed;
    }

  private:
    const std::size_t m_most;
    WorkAhead<Result<std::unique_ptr<BitmapInfo>>> m_imported;
    const Pose m_pose;
};

// For a display so large that no picture is even read.
class NoCompositions : public Compositions {
  public:
    explicit NoCompositions(Error reason) : m_reason(std::move(reason)) {}

    Result<Composed> Next(const Path&) override { return Composed{tl::unexpected(m_reason)}; }

  private:
    const Error m_reason;
};

std::unique_ptr<Compositions> Compose(const std::vector<Path>& files, const Pose& pose) {
    const store::StoreState& store = store::Store();
    const auto width = static_cast<int>(store.gmyLcdWidth);
    const auto height = static_cast<int>(store.gmyLcdHeight);
    if (Result<void> possible = CheckLcdSize(width, height); !possible)
        return std::make_unique<NoCompositions>(std::move(possible).error());
    if (pose.IsFitted())
        return std::make_unique<FittedCompositions>(files, width, height);
    return std::make_unique<PosedCompositions>(files, store.gmyLcdWidth, store.gmyLcdHeight, pose);
}

// How each file of a batch is added.
struct BatchWishes {
    const Pose& pose;
    AfterRefusal policy;
    Room room;
    Placing placing;
    std::optional<WaitingCopies> waiting{};  // none: what waits already is added once more
};

// What gave way; one that this batch has added, or lowered before, is told of once.
void NoteLowered(const std::vector<Lowered>& lowered, BatchReport& report) {
    for (const Lowered& one : lowered) {
        const auto added = std::ranges::find_if(
            report.added, [&](const BatchReport::Added& other) { return other.picture.name == one.before; });
        const auto again = std::ranges::find(report.lowered, one.before, &Lowered::name);
        if (added != report.added.end()) {
            added->picture.name = one.name;
            added->picture.bytes = one.bytes;
            added->picture.quality = one.to;
        } else if (again != report.lowered.end()) {
            again->name = one.name;
            again->bytes = one.bytes;
            again->to = one.to;
        } else {
            report.lowered.push_back(one);
        }
    }
}

// Why there is none; empty: there is, as far as others could give way.
Phrase MakeRoom(ByteSpan pixels, int replaces, BatchReport& report) {
    Result<std::vector<Lowered>> plan = PlanRoom(pixels, replaces);
    if (!plan)
        return plan.error().message;
    const Result<void> done = LowerPictures(*plan);
    NoteLowered(*plan, report);
    return done ? Phrase() : done.error().cause;
}

// Whether a file was, and the batch goes on then.
enum class Tried { Yes, AndStop, No };

// What is said of a picture that was added; it is none the worse where there is no memory for that.
void TellOf(BatchReport::Added& added, const Pose& pose) {
    try {
        RememberSource(added.picture, added.file, pose);
        ShowCopyOf(added.picture, added.file);
        ShowImportNote(added.note, added.file);
    } catch (const std::bad_alloc&) {
    }
}

Tried AddOne(const Path& file, Compositions& compositions, BatchWishes& wishes, BatchReport& report) {
    Result<Composed> composed = compositions.Next(file);
    if (IsStopped(composed))
        return Tried::No;
    if (!composed) {
        report.refused.push_back({file, std::move(composed).error(), true});
        return Tried::Yes;
    }
    const Result<Pixels>& pixels = composed->pixels;
    if (wishes.waiting && pixels) {
        if (auto copy = wishes.waiting->Take(*pixels)) {
            report.added.push_back({file, std::move(*copy), true, std::move(composed->note)});
            return Tried::Yes;
        }
    }
    const Phrase noRoom =
        wishes.room == Room::Make && pixels ? MakeRoom(*pixels, wishes.placing.replaces, report) : Phrase();
    BatchReport::Added taken{.file = file, .picture = {}, .note = std::move(composed->note)};
    Result<AddedPicture> added = AddComposed(pixels, true, wishes.placing);
    if (added) {
        taken.picture = std::move(*added);
        report.added.push_back(std::move(taken));  // takes no memory, nor may it: the picture is in the list
        TellOf(report.added.back(), wishes.pose);
        return Tried::Yes;
    }
    report.refused.push_back({file, std::move(added).error()});
    Error& reason = report.refused.back().reason;
    reason.cause = Joined(reason.cause, kSemicolon, noRoom);
    if (store::StatusPort* status = store::Store().status)
        status->SetNoteDetail(About(NameFor(file), reason.cause));
    return wishes.policy == AfterRefusal::GoOn ? Tried::Yes : Tried::AndStop;
}

// Adds one file; where memory ends, that one alone is refused.
Tried AddWithinMemory(const Path& file, Compositions& compositions, BatchWishes& wishes,
                      BatchReport& report) {
    try {
        return AddOne(file, compositions, wishes, report);
    } catch (const std::bad_alloc&) {
        report.refused.push_back({file, {ErrorKind::TooLarge, kCannotEncode, kBeyondMemory}});
        return wishes.policy == AfterRefusal::GoOn ? Tried::Yes : Tried::AndStop;
    }
}

// The edit view shows the picture at which a batch ended.
void ShowLast(const Path& file, const Pose& pose, const BatchReport& report) {
    const bool readable =
        report.refused.empty() || !report.refused.back().unreadable || report.refused.back().file != file;
    if (readable && SelectOnePicture(file, false))
        ApplyPose(pose);
}

bool HasNote(const BatchReport::Added& added) {
    return !added.note.empty();
}

// What a batch that left something out says in the end: the numbers, and the reason that stopped it or the
// first one; otherwise the first note of an import. A file that was alone has its own note.
void ShowOutcome(const BatchReport& report) {
    if (!TellsMore(report))
        return;
    store::StatusPort* status = store::Store().status;
    if (report.added.size() + report.refused.size() + report.notTried.size() > 1)
        status->SetNotes(NumbersOf(report));
    if (report.refused.empty() && report.notTried.empty()) {
        const auto noted = std::ranges::find_if(report.added, HasNote);
        ShowImportNote(noted->note, noted->file);
        return;
    }
    if (report.refused.empty()) {
        status->SetNoteDetail(store::FrameOnline() ? kStopped : store::kFrameGone);
        return;
    }
    const BatchReport::Refused& last = report.refused.back();
    const BatchReport::Refused& told = last.unreadable ? report.refused.front() : last;
    status->SetNoteDetail(About(NameFor(told.file), told.reason.cause));
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

bool TellsMore(const BatchReport& report) {
    return !report.refused.empty() || !report.notTried.empty() || std::ranges::any_of(report.added, HasNote);
}

Phrase NumbersOf(const BatchReport& report) {
    Phrase text(kBatchAdded, report.added.size());
    if (!report.refused.empty())
        text = Joined(std::move(text), kComma, Phrase(kBatchRefused, report.refused.size()));
    if (!report.notTried.empty())
        text = Joined(std::move(text), kComma, Phrase(kBatchNotTried, report.notTried.size()));
    return text;
}

BatchReport AddPictures(const std::vector<Path>& files, const Pose& pose, AfterRefusal policy,
                        const BatchProgress& progress, Waiting waiting, Room room, int replaces) {
    BatchReport report;
    report.added.reserve(files.size());
    BatchWishes wishes{pose, policy, room, {replaces}};
    if (waiting == Waiting::AddOnlyNew && replaces == 0)
        wishes.waiting.emplace();
    auto file = files.begin();
    store::ProgressMeter meter(store::Phase::Adding, static_cast<int>(files.size()), 0);
    {
        const std::unique_ptr<Compositions> compositions = Compose(files, pose);
        for (Tried tried = Tried::Yes;
             tried == Tried::Yes && file != files.end() && store::FrameOnline() && !store::StopRequested();) {
            meter.Reach(static_cast<int>(file - files.begin()) + 1, 0);
            if (progress)
                progress(static_cast<std::size_t>(file - files.begin()));
            tried = AddWithinMemory(*file, *compositions, wishes, report);
            if (tried != Tried::No)
                ++file;
        }
    }
    report.notTried.assign(file, files.end());
    if (policy == AfterRefusal::Stop && file != files.begin())
        ShowLast(*std::prev(file), pose, report);
    return report;
}

std::vector<Lowered> WouldMakeRoom(const Path& file, const Pose& pose) {
    ReleaseSelection();
    auto plan = PlanRoomFor(file, pose);
    ShowLast(file, pose, {});
    return std::move(plan).value_or(std::vector<Lowered>());
}

BatchReport ProcessMorePic(const std::vector<Path>& files, const Pose& pose, Room room) {
    store::StoreState& store = store::Store();
    store.gmyIsTransferData = true;
    store.status->SetControlPanlEnable(false);
    BatchReport report;
    {
        const StillView still;
        const auto progress = [&](std::size_t tried) {
            store.status->SetDownLoadPrcess(static_cast<int>(100 * tried / files.size()));
        };
        report = AddPictures(files, pose, AfterRefusal::Stop, progress, Waiting::AddAgain, room);
        if (room == Room::AsItIs && !report.refused.empty() && !report.refused.back().unreadable &&
            report.refused.back().reason.kind == ErrorKind::Refused)
            report.couldLower = WouldMakeRoom(report.refused.back().file, pose);
    }
    store.status->ShowPictureList(store.gmyTotalePictureNum, store.gmyCurrentSelectItem);
    store.status->SetDownLoadPrcess(0);
    ShowOutcome(report);
    return report;
}

}  // namespace lumato::picture
