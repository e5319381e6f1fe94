#include "store/safekeeping.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "base/printable.h"
#include "store/frame_journals.h"
#include "store/journal_folder.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/read_back.h"
#include "store/store.h"

namespace lumato::store {
namespace {

constexpr int kKeepingPercent = 9;  // of the progress, which is at 10 when the streams have been gathered

bool Keeping() {
    return !Store().journalFolder.empty();
}

// The picture's bytes as its local file has them.
Result<std::vector<std::uint8_t>> LocalStream(const FileData& record, std::int32_t address) {
    const auto size = static_cast<std::uintmax_t>(record.picSize);
    LUMATO_TRY(auto stream, StreamOf(record, address));
    const bool same = !record.streamHash || Sha256(stream) == *record.streamHash;
    if (stream.size() != size || !same)
        return Fail(ErrorKind::Damaged, About(Printable(record.fileName), kLocalFileChanged));
    return stream;
}

// Its stream lies in the folder afterwards.
Result<JournalPicture> KeepPicture(FileData& record, std::int32_t address) {
    LUMATO_TRY(const auto stream, LocalStream(record, address));
    if (!record.streamHash)
        record.streamHash = Sha256(stream);
    const JournalPicture picture{*record.streamHash, record.picSize, address};
    LUMATO_TRY_VOID(KeepStream(Store().journalFolder, picture, stream));
    return picture;
}

// A picture that stays where it is needs no copy: it comes back from the frame, and from the blocks at risk.
Result<std::vector<JournalPicture>> KeepList(bool fromScratch) {
    StoreState& store = Store();
    std::vector<JournalPicture> pictures;
    int slot = 0;
    for (FileData& record : EachOf(store.gmyPictureData)) {
        ++slot;
        const bool stored = record.inFrame == 1 && slot <= kMostPictures;
        const std::int32_t address = stored ? SlotAddress(SlotOf(store.G_PictureList, slot)) : 0;
        if (stored && !fromScratch && record.streamHash) {
            pictures.push_back({*record.streamHash, record.picSize, address});
            continue;
        }
        LUMATO_TRY(const JournalPicture picture, KeepPicture(record, address));
        pictures.push_back(picture);
        if (stored)
            store.status->SetDownLoadPrcess(kKeepingPercent * slot / store.gmyPictureData->count);
    }
    return pictures;
}

// What waits in a borrowed journal comes into one of the frame's own.
Result<void> BringStreams(const Journal& journal) {
    const StoreState& store = Store();
    for (const JournalPicture& picture : journal.pictures) {
        if (!HasStream(store.lenderFolder, picture) || HasStream(store.journalFolder, picture))
            continue;
        if (const auto stream = ReadStream(store.lenderFolder, picture))
            LUMATO_TRY_VOID(KeepStream(store.journalFolder, picture, *stream));
    }
    return {};
}

Result<void> Save(Journal journal) {
    StoreState& store = Store();
    if (!store.lenderFolder.empty())
        LUMATO_TRY_VOID(BringStreams(journal));
    journal.counter = std::max(journal.counter, HighestCounter(store.journalFolder) + 1);
    journal.time = static_cast<std::uint32_t>(std::time(nullptr));
    journal.individual = store.frameIndividual;
    journal.name = store.frameName;
    LUMATO_TRY_VOID(SaveJournal(store.journalFolder, journal));
    store.journal = std::make_shared<Journal>(std::move(journal));
    return {};
}

Journal NewJournal(Journal::Phase phase) {
    Journal journal;
    journal.phase = phase;
    journal.frame = Store().frameIdentity;
    journal.lcdWidth = Store().geometry.lcdWidth;
    journal.lcdHeight = Store().geometry.lcdHeight;
    journal.flashSize = Store().geometry.flashSize;
    journal.tableBefore = journal.tableAfter = Store().tableOnFrame;
    return journal;
}

bool Waits(const FileData& record) {
    return record.inFrame != 1;
}

// A picture may have been added twice, and the one that stays keeps its place.
std::ptrdiff_t EarlierCopies(const FileData& record) {
    std::ptrdiff_t copies = 0;
    for (const FileData* other = Store().gmyPictureData->sentinel->next; other != &record;
         other = other->next)
        copies += Waits(*other) && other->streamHash == record.streamHash ? 1 : 0;
    return copies;
}

void ForgetOne(std::vector<JournalPicture>& pictures, const FileData& record) {
    std::ptrdiff_t copies = EarlierCopies(record);
    const auto found = std::ranges::find_if(pictures, [&](const JournalPicture& picture) {
        return picture.address == 0 && picture.hash == record.streamHash && copies-- == 0;
    });
    if (found != pictures.end())
        pictures.erase(found);
}

// Nothing waits any more. A borrowed journal would offer its pictures again, unless a newer one says so.
Result<void> KeepNothing(Journal journal) {
    StoreState& store = Store();
    journal.pictures.clear();
    if (!store.lenderFolder.empty())
        return Save(std::move(journal));
    store.journal.reset();
    DropJournal(store.journalFolder);
    return {};
}

}  // namespace

Result<void> KeepDownload(const DownloadPlan& plan, ByteSpan tableBlock) {
    if (!Keeping())
        return {};
    StoreState& store = Store();
    Journal journal = NewJournal(Journal::Phase::Download);
    journal.fromScratch = plan.fromScratch;
    std::ranges::copy(tableBlock.first(kTableSize), journal.tableBefore.begin());
    journal.tableAfter = plan.tableAfter;
    journal.blocks = store.blocksAtRisk;
    journal.blocks.try_emplace(store.geometry.tableAddress, tableBlock.begin(), tableBlock.end());
    LUMATO_TRY(auto pictures, KeepList(plan.fromScratch));
    journal.pictures = std::move(pictures);
    return Save(std::move(journal));
}

Result<void> KeepBlocks() {
    if (!Keeping() || Store().journal == nullptr)
        return {};
    Journal journal = *Store().journal;
    journal.blocks = Store().blocksAtRisk;
    return Save(std::move(journal));
}

Result<void> KeepStopped(ByteSpan tableBlock, const std::vector<std::int32_t>& addresses) {
    StoreState& store = Store();
    if (!Keeping() || store.journal == nullptr)
        return {};
    Journal journal = *store.journal;
    if (journal.pictures.size() != addresses.size())
        return Fail(ErrorKind::Damaged, "the recovery journal does not have the list's pictures");
    journal.fromScratch = false;
    std::ranges::copy(tableBlock.first(kTableSize), journal.tableAfter.begin());
    // The other blocks are written, and verified, as they are to be.
    journal.blocks.clear();
    journal.blocks.try_emplace(store.geometry.tableAddress, tableBlock.begin(), tableBlock.end());
    for (std::size_t i = 0; i < addresses.size(); ++i)
        journal.pictures[i].address = addresses[i];
    return Save(std::move(journal));
}

Result<void> KeepOnlyWaiting() {
    StoreState& store = Store();
    if (!Keeping() || store.journal == nullptr)
        return {};
    return Save(OnlyWaiting(*store.journal));
}

Journal OnlyWaiting(Journal journal) {
    journal.phase = Journal::Phase::Additions;
    journal.fromScratch = false;
    journal.tableBefore = journal.tableAfter = Store().tableOnFrame;
    journal.blocks.clear();
    std::erase_if(journal.pictures, [](const JournalPicture& picture) { return picture.address != 0; });
    return journal;
}

void ForgetJournal() {
    StoreState& store = Store();
    const auto before = std::exchange(store.tableOnFrame, store.G_PictureList);
    SetEndMark(store.tableOnFrame);
    store.journal.reset();
    if (Keeping())
        DropFinishedJournals(before);
}

Result<void> KeepAddition(FileData& record) {
    if (!Keeping())
        return {};
    StoreState& store = Store();
    LUMATO_TRY(const JournalPicture picture, KeepPicture(record, 0));
    Journal journal = store.journal != nullptr ? *store.journal : NewJournal(Journal::Phase::Additions);
    journal.pictures.push_back(picture);
    return Save(std::move(journal));
}

void ForgetAdditions(const FileData* from, const FileData* last) {
    StoreState& store = Store();
    if (!Keeping() || store.journal == nullptr)
        return;
    Journal journal = *store.journal;
    std::vector<const FileData*> doomed;
    for (const FileData* record = from; record != last; record = record->next) {
        if (Waits(*record))
            doomed.push_back(record);
    }
    // The last one first, so that earlier copies stay where they are counted.
    for (auto record = doomed.rbegin(); record != doomed.rend(); ++record)
        ForgetOne(journal.pictures, **record);
    if (journal == *store.journal)
        return;
    // If it fails, they come back at the next connection, where they can be deleted again.
    if (journal.pictures.empty() && journal.phase == Journal::Phase::Additions)
        static_cast<void>(KeepNothing(std::move(journal)));
    else
        static_cast<void>(Save(std::move(journal)));
}

Result<void> KeepAsBefore(const std::shared_ptr<Journal>& journal) {
    if (!Keeping())
        return {};
    if (journal == nullptr) {
        const auto& now = Store().journal;
        const bool waits = now != nullptr && now->phase == Journal::Phase::Additions;
        return waits ? KeepNothing(*now) : Result<void>();
    }
    const auto names = [&](const FileData& record) {
        return std::ranges::find(journal->pictures, record.streamHash, &JournalPicture::hash) !=
               journal->pictures.end();
    };
    for (FileData& record : EachOf(Store().gmyPictureData)) {
        // What is only on the frame the journal's blocks bring back, and of a restoration it knows nothing.
        if (record.inFrame != 1 && !record.onlyOnFrame && names(record))
            LUMATO_TRY_VOID(KeepPicture(record, 0));
    }
    return Save(*journal);
}

bool DownloadIsDue() {
    const StoreState& store = Store();
    if (store.resuming || store.gmyPictureData == nullptr)
        return store.resuming;
    return std::ranges::any_of(EachOf(store.gmyPictureData), Waits);
}

}  // namespace lumato::store
