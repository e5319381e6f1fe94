#include "store/recovery.h"

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>

#include "flash/process_flash.h"
#include "store/frame_journals.h"
#include "store/journal_folder.h"
#include "store/list_order.h"
#include "store/local_room.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/read_back.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A picture of the journal, and what the frame has of it.
struct Recovered {
    JournalPicture picture;
    int position = 0;        // in the journal, from 1
    bool stored = false;     // its bytes lie on the frame
    bool comesBack = false;  // they lie there again when the blocks at risk have been put back
};

// All emptied frames have the same table, which then is no evidence.
bool IsEmptiedAnothers(const Journal& journal, int pictures) {
    return pictures == 0 && IndividualOf(journal) == Individual::Another;
}

class Recovery {
  public:
    Result<void> Run();

  private:
    Result<void> MatchTable();
    Result<void> MatchContents();
    void Take(const FrameJournal& found);
    void FindStored();
    [[nodiscard]] bool IsStored() const;
    [[nodiscard]] bool LostNothing() const;
    Result<void> Rebuild();
    void MakeTable();
    bool Check(Recovered& picture, ByteSpan stream) const;
    void LinkStored();
    Result<void> AddWaitingAlone();
    Result<void> AddWaiting();
    Result<void> AddWaiting(const Recovered& picture, LocalRoom& room);
    Result<Bytes> StreamOf(const Recovered& picture);
    [[nodiscard]] std::string NextName() const;
    const FileData& Append(const std::string& name, const Recovered& picture, Phrase whyNoBitmap,
                           bool onlyOnFrame);
    void ShowNotes() const;

    StoreState& m_store = Store();
    FrameJournals m_journals;
    const FrameJournal* m_chosen = nullptr;
    std::vector<Recovered> m_pictures;  // of the chosen one
    int m_waiting = 0;
    Phrase m_damage;  // what was damaged and put aside
};

void Recovery::Take(const FrameJournal& found) {
    m_chosen = &found;
    m_pictures.clear();
    for (const JournalPicture& picture : found.journal.pictures)
        m_pictures.push_back({picture, static_cast<int>(m_pictures.size()) + 1});
}

// Each picture of the list is the copy of one picture of the journal at most.
void Recovery::FindStored() {
    std::vector<Digest> onFrame;
    for (const FileData& record : EachOf(m_store.gmyPictureData))
        onFrame.push_back(record.streamHash.value_or(Digest{}));
    std::ranges::sort(onFrame);
    std::vector<bool> taken(onFrame.size());
    for (Recovered& picture : m_pictures) {
        auto at = static_cast<std::size_t>(std::ranges::lower_bound(onFrame, picture.picture.hash) -
                                           onFrame.begin());
        while (at < onFrame.size() && onFrame[at] == picture.picture.hash && taken[at])
            ++at;
        picture.stored = at < onFrame.size() && onFrame[at] == picture.picture.hash;
        if (picture.stored)
            taken[at] = true;
    }
}

bool Recovery::IsStored() const {
    return std::ranges::all_of(m_pictures, [](const Recovered& picture) { return picture.stored; });
}

// What our own table lists is there, byte for byte: it may have been programmed, and the data behind it not.
bool Recovery::LostNothing() const {
    const bool finished = m_store.tableOnFrame == m_chosen->journal.tableAfter;
    return std::ranges::all_of(m_pictures, [&](const Recovered& picture) {
        return picture.stored || (!finished && picture.picture.address == 0);
    });
}

// The frame has a table, and its pictures are listed. The best journal that names this table, and has
// something to give; one whose download the frame proves complete has done its work.
Result<void> Recovery::MatchTable() {
    for (const FrameJournal* candidate : m_journals.NamingTable()) {
        const Journal& journal = candidate->journal;
        if (IsEmptiedAnothers(journal, m_store.gmyPictureData->count))
            continue;
        Take(*candidate);
        if (journal.phase == Journal::Phase::Additions) {
            m_journals.Claim(*candidate, m_store.gmyPictureData->count > 0);
            return AddWaiting();
        }
        FindStored();
        const auto lost = [&](const Recovered& picture) {
            return !picture.stored && IsOutOfReach(journal, picture.picture);
        };
        const auto kept = [&](const Recovered& picture) {
            return picture.stored && IsOutOfReach(journal, picture.picture);
        };
        const bool finished = m_store.tableOnFrame == journal.tableAfter;
        m_journals.Claim(*candidate, finished && IsStored());
        if (IsStored())
            m_journals.DropClaimed();
        else if (std::ranges::any_of(m_pictures, kept) || std::ranges::none_of(m_pictures, lost))
            return LostNothing() ? AddWaitingAlone() : Rebuild();
        m_chosen = nullptr;
        m_pictures.clear();
        m_journals.Release();
    }
    return {};
}

// The download did not begin to change this frame. Who keeps its plan would take it for begun as soon as a
// twin holds the table that was to be written.
Result<void> Recovery::AddWaitingAlone() {
    m_store.journal = std::make_shared<Journal>(OnlyWaiting(*m_store.journal));
    return AddWaiting();
}

// The frame says nothing of its pictures.
Result<void> Recovery::MatchContents() {
    LUMATO_TRY(const ContentMatch match, m_journals.MatchingContents());
    if (match.found == nullptr)
        return ReadPictures();
    Take(*match.found);
    m_journals.Claim(*match.found, match.evident);
    if (match.found->journal.phase == Journal::Phase::Download)
        return Rebuild();
    LUMATO_TRY_VOID(ReadPictures());
    return AddWaiting();
}

// Pictures that were stored, each in its old slot.
void Recovery::MakeTable() {
    const Journal& journal = m_chosen->journal;
    m_store.G_PictureList.fill(0);
    std::copy_n(journal.tableAfter.begin(), kTableHeaderSize, m_store.G_PictureList.begin());
    SetEndMark(m_store.G_PictureList);
    int slot = 0;
    for (const Recovered& picture : m_pictures) {
        if (picture.picture.address != 0 && slot < kMostPictures)
            FillSlot(SlotOf(m_store.G_PictureList, ++slot), picture.picture.address, picture.picture.length);
    }
}

bool Recovery::Check(Recovered& picture, ByteSpan stream) const {
    const Journal& journal = m_chosen->journal;
    picture.stored = Sha256(stream) == picture.picture.hash;
    if (!picture.stored && !journal.fromScratch) {
        Bytes restored(stream.begin(), stream.end());
        PutBlocksBack(journal.blocks, picture.picture.address, restored);
        picture.comesBack = Sha256(restored) == picture.picture.hash;
    }
    return picture.stored;
}

// The table on the frame says nothing, or lists pictures whose bytes are not there.
Result<void> Recovery::Rebuild() {
    DelAllPicAtStart();
    MakeTable();
    std::vector<Recovered*> slots;
    for (Recovered& picture : m_pictures) {
        picture.stored = false;
        if (picture.picture.address != 0)
            slots.push_back(&picture);
    }
    LUMATO_TRY_VOID(ReadPictures([&](int slot, ByteSpan stream) {
        return Check(*slots[static_cast<std::size_t>(slot - 1)], stream);
    }));
    LinkStored();
    LUMATO_TRY_VOID(AddWaiting());
    if (!m_chosen->journal.fromScratch)
        m_store.blocksAtRisk = m_chosen->journal.blocks;
    m_store.resuming = true;
    return {};
}

// The list has the stored pictures in their order, but for one whose bitmap could not be made.
void Recovery::LinkStored() {
    FileData* record = m_store.gmyPictureData->sentinel->next;
    for (Recovered& picture : m_pictures) {
        if (!picture.stored)
            continue;
        picture.stored = record != nullptr && record->streamHash == picture.picture.hash;
        if (!picture.stored)
            continue;
        record->journalPosition = picture.position;
        record->oldAddress = picture.picture.address;
        record = record->next;
    }
}

Result<void> Recovery::AddWaiting() {
    LocalRoom room(m_store.geometry);
    for (const FileData& record : EachOf(m_store.gmyPictureData))
        room.Take(record);
    for (const Recovered& picture : m_pictures) {
        if (picture.stored)
            continue;
        LUMATO_TRY_VOID(MayReadOn());
        LUMATO_TRY_VOID(AddWaiting(picture, room));
    }
    return {};
}

// What comes back is read once more: slots can share their bytes, and hundreds of them are no more than one
// flash, but more than memory has.
Result<Bytes> Recovery::StreamOf(const Recovered& picture) {
    if (!picture.comesBack)
        return LoadStream(m_chosen->folder, picture.picture);
    LUMATO_TRY(Bytes stream, ReadPictureBytes(picture.picture.address, picture.picture.length));
    PutBlocksBack(m_chosen->journal.blocks, picture.picture.address, stream);
    if (Sha256(stream) != picture.picture.hash)
        return Fail(ErrorKind::Unreadable, kPictureUnreadable);
    return stream;
}

Result<void> Recovery::AddWaiting(const Recovered& picture, LocalRoom& room) {
    Phrase whyNoBitmap = room.WhyNoBitmap(picture.picture.length);
    if (picture.comesBack && !room.HasRoomFor(picture.picture.length)) {
        room.Take(Append(NextName(), picture, std::move(whyNoBitmap), true));
        return {};
    }
    const auto stream = StreamOf(picture);
    if (!stream && stream.error().kind != ErrorKind::Damaged && stream.error().kind != ErrorKind::NotFound)
        return tl::unexpected(stream.error());
    if (!stream) {
        m_damage =
            Phrase("PICTURE_NOT_RECOVERED", "a picture could not be recovered: {0}", stream.error().message);
        return {};
    }
    const std::string name = NextName();
    LUMATO_TRY_VOID(WriteFile(StreamPath(name), *stream, Links::Replace));
    // Without a bitmap there is no preview; the picture itself is safe.
    if (whyNoBitmap.empty() && !m_store.MyJPG->DeCode(StreamPath(name), BitmapPath(name),
                                                      m_store.geometry.lcdWidth, m_store.geometry.lcdHeight))
        whyNoBitmap = m_store.MyJPG->LastError().message;
    room.Take(Append(name, picture, std::move(whyNoBitmap), false));
    return {};
}

// Higher than any number in use.
std::string Recovery::NextName() const {
    return "Picture" + std::to_string(m_store.gmyTotalePicture + 1) + ".bmp";
}

const FileData& Recovery::Append(const std::string& name, const Recovered& picture, Phrase whyNoBitmap,
                                 bool onlyOnFrame) {
    auto record = std::make_unique<FileData>();
    record->fileRef = BitmapPath(name);
    record->fileName = name;
    record->seqIndex = ++m_store.gmyTotalePictureNum + kAddedSequenceBase;
    record->picSize = picture.picture.length;
    record->streamHash = picture.picture.hash;
    record->journalPosition = picture.position;
    record->oldAddress = picture.comesBack ? picture.picture.address : 0;
    record->whyNoBitmap = std::move(whyNoBitmap);
    record->onlyOnFrame = onlyOnFrame;
    ++m_store.gmyTotalePicture;
    ++m_waiting;
    const FileData& listed = *record;
    AddNode(m_store.gmyPictureData.get(), record.release());
    return listed;
}

void Recovery::ShowNotes() const {
    const Phrase kept = m_journals.KeptText();
    if (m_store.resuming)
        ShowNote(kDownloadBrokenOff);
    else if (m_waiting > 0)
        ShowNote(kWaitingBack);
    else if (!kept.empty())
        ShowNote(kJournalsKept);
    // None does where a download broke off that was to empty the frame.
    const Phrase waiting = m_waiting > 0 ? Phrase("COUNT_WAITING", "{0} waiting", m_waiting) : Phrase();
    const Phrase detail = Joined(waiting, kSemicolon, kept);
    if (!detail.empty())
        m_store.status->SetNoteDetail(detail);
    if (!m_damage.empty()) {
        ShowNote(kJournalDamaged);
        m_store.status->SetNoteDetail(m_damage);
    }
}

Result<void> Recovery::Run() {
    LUMATO_TRY(m_damage, m_journals.Load());
    if (IsTable(m_store.tableOnFrame)) {
        LUMATO_TRY_VOID(ReadPictures());
        LUMATO_TRY_VOID(MatchTable());
    } else {
        LUMATO_TRY_VOID(MatchContents());
    }
    if (m_waiting > 0) {
        ShowNumbers();
        m_store.status->ShowPictureList(m_store.gmyTotalePictureNum, 0);
    }
    ShowNotes();
    return {};
}

void LearnIndividual() {
    const device::AttachedFrame& frame = flash::Flash().m_PtrPF->Frame();
    Store().frameName = frame.Name();
    Store().frameIndividual = frame.Individual();
}

bool HasWaiting(const Journal& journal) {
    return std::ranges::any_of(journal.pictures,
                               [](const JournalPicture& picture) { return picture.address == 0; });
}

}  // namespace

Result<bool> LooksDue() {
    StoreState& store = Store();
    LearnIndividual();
    FrameJournals journals;
    LUMATO_TRY_VOID(journals.LookAt());
    if (!IsTable(store.tableOnFrame)) {
        LUMATO_TRY(const ContentMatch match, journals.MatchingContents());
        return match.found != nullptr &&
               (match.found->journal.phase == Journal::Phase::Download || HasWaiting(match.found->journal));
    }
    for (const FrameJournal* candidate : journals.NamingTable()) {
        const Journal& journal = candidate->journal;
        if (IsEmptiedAnothers(journal, CountStored(store.G_PictureList)))
            continue;
        if (journal.phase == Journal::Phase::Additions)
            return HasWaiting(journal);
        // A table as the download left it says that it is done.
        if (store.tableOnFrame != journal.tableAfter && HasWaiting(journal))
            return true;
    }
    return false;
}

Result<void> ReadPicturesAndRecover() {
    StoreState& store = Store();
    LearnIndividual();
    if (store.statePath.empty()) {
        LUMATO_TRY_VOID(ReadPictures());
        NoteListAsStored();
        return {};
    }
    Result<void> recovered = Recovery().Run();
    if (recovered)
        NoteListAsStored();
    else
        store.journalFolder.clear();  // whatever lies there is not to be touched by this connection
    return recovered;
}

}  // namespace lumato::store
