#include "store/recovery.h"

#include <algorithm>
#include <memory>
#include <string>

#include "store/journal_folder.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/read_back.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kMostJournals = 99;
constexpr int kAddedSequenceBase = 1000;

// A picture of the journal, and what the frame has of it.
struct Candidate {
    JournalPicture picture;
    int position = 0;      // in the journal, from 1
    bool stored = false;   // its bytes lie on the frame
    bool returns = false;  // they lie there again when the blocks at risk have been put back
};

class Recovery {
  public:
    bool Run();

  private:
    enum class Verdict { Merged, Failed, AnotherFrames };

    bool TryJournals();
    bool LoadJournalNumber(int number);
    bool ReadTable();
    Verdict Judge();
    [[nodiscard]] bool IsOurTable() const;
    void FindStored();
    [[nodiscard]] bool LostNothing() const;
    bool Rebuild();
    void MakeTable();
    bool Check(Candidate& candidate, ByteSpan stream) const;
    void LinkStored();
    bool AddWaiting();
    bool AddWaiting(const Candidate& candidate);
    void Append(const std::string& name, const Candidate& candidate);
    void Finish();
    void ShowNotes() const;

    StoreState& m_store = Store();
    std::shared_ptr<Journal> m_journal;
    std::vector<Candidate> m_candidates;
    bool m_tableRead = false;
    int m_waiting = 0;
    std::string m_damage;  // what was damaged and put aside
};

bool Recovery::LoadJournalNumber(int number) {
    m_journal.reset();
    m_candidates.clear();
    m_store.journalFolder = JournalFolder(number);
    auto loaded = LoadJournal(m_store.journalFolder);
    // To go on without a journal that is there would be to take its pictures for lost.
    if (!loaded && loaded.error().kind != ErrorKind::Damaged)
        return Because(loaded.error().message);
    if (!loaded)
        m_damage = loaded.error().message;
    if (!loaded || !*loaded)
        return true;
    m_journal = std::make_shared<Journal>(std::move(**loaded));
    int position = 0;
    for (const JournalPicture& picture : m_journal->pictures)
        m_candidates.push_back({picture, ++position});
    return true;
}

bool Recovery::ReadTable() {
    m_tableRead = m_tableRead || ReadPicFromFlash();
    return m_tableRead;
}

// The bytes of the table are those before or after the download.
bool Recovery::IsOurTable() const {
    return m_store.tableOnFrame == m_journal->tableBefore || m_store.tableOnFrame == m_journal->tableAfter;
}

// Each picture of the list is the copy of one picture of the journal at most.
void Recovery::FindStored() {
    std::vector<Digest> onFrame;
    for (const FileData* record = m_store.gmyPictureData->sentinel->next; record != nullptr;
         record = record->next)
        onFrame.push_back(record->streamHash.value_or(Digest{}));
    std::ranges::sort(onFrame);
    std::vector<bool> taken(onFrame.size());
    for (Candidate& candidate : m_candidates) {
        auto at = static_cast<std::size_t>(std::ranges::lower_bound(onFrame, candidate.picture.hash) -
                                           onFrame.begin());
        while (at < onFrame.size() && onFrame[at] == candidate.picture.hash && taken[at])
            ++at;
        candidate.stored = at < onFrame.size() && onFrame[at] == candidate.picture.hash;
        if (candidate.stored)
            taken[at] = true;
    }
}

// What our own table lists is there, byte for byte: it may have been programmed, and the data behind it not.
bool Recovery::LostNothing() const {
    const bool finished = m_store.tableOnFrame == m_journal->tableAfter;
    return std::ranges::all_of(m_candidates, [&](const Candidate& candidate) {
        return candidate.stored || (!finished && candidate.picture.address == 0);
    });
}

Recovery::Verdict Recovery::Judge() {
    if (m_journal->phase == Journal::Phase::Download) {
        const bool ours = IsOurTable();
        if (!IsTable(m_store.tableOnFrame))
            return Rebuild() ? Verdict::Merged : Verdict::Failed;
        if (!ReadTable())
            return Verdict::Failed;
        FindStored();
        if (ours && !LostNothing())
            return Rebuild() ? Verdict::Merged : Verdict::Failed;
        const auto was = [](const Candidate& candidate) { return candidate.picture.address != 0; };
        const auto is = [](const Candidate& candidate) { return candidate.stored; };
        if (!ours && std::ranges::any_of(m_candidates, was) && std::ranges::none_of(m_candidates, is))
            return Verdict::AnotherFrames;
    }
    return ReadTable() && AddWaiting() ? Verdict::Merged : Verdict::Failed;
}

// Pictures that were stored, each in its old slot.
void Recovery::MakeTable() {
    m_store.G_PictureList.fill(0);
    std::copy_n(m_journal->tableAfter.begin(), kTableHeaderSize, m_store.G_PictureList.begin());
    SetEndMark(m_store.G_PictureList);
    int slot = 0;
    for (const Candidate& candidate : m_candidates) {
        if (candidate.picture.address != 0 && slot < kMostPictures)
            FillSlot(SlotOf(m_store.G_PictureList, ++slot), candidate.picture.address,
                     candidate.picture.length);
    }
}

void PutBlocksBack(const Journal& journal, std::int32_t address, Bytes& stream) {
    const std::int64_t end = std::int64_t{address} + static_cast<std::int64_t>(stream.size());
    for (const auto& [base, block] : journal.blocks) {
        const std::int64_t from = std::max<std::int64_t>(base, address);
        const std::int64_t to = std::min<std::int64_t>(base + static_cast<std::int64_t>(block.size()), end);
        if (from < to)
            std::copy(block.begin() + (from - base), block.begin() + (to - base),
                      stream.begin() + (from - address));
    }
}

bool Recovery::Check(Candidate& candidate, ByteSpan stream) const {
    candidate.stored = Sha256(stream) == candidate.picture.hash;
    if (!candidate.stored && !m_journal->fromScratch) {
        Bytes restored(stream.begin(), stream.end());
        PutBlocksBack(*m_journal, candidate.picture.address, restored);
        candidate.returns = Sha256(restored) == candidate.picture.hash;
    }
    return candidate.stored;
}

// The table on the frame says nothing, or lists pictures whose bytes are not there.
bool Recovery::Rebuild() {
    DelAllPicAtStart();
    MakeTable();
    std::vector<Candidate*> slots;
    for (Candidate& candidate : m_candidates) {
        candidate.stored = false;
        if (candidate.picture.address != 0)
            slots.push_back(&candidate);
    }
    const auto check = [&](int slot, ByteSpan stream) {
        return Check(*slots[static_cast<std::size_t>(slot - 1)], stream);
    };
    if (!ReadPicFromFlash(check))
        return false;
    LinkStored();
    if (!AddWaiting())
        return false;
    if (!m_journal->fromScratch)
        m_store.blocksAtRisk = m_journal->blocks;
    m_store.resuming = true;
    return true;
}

// The list has the stored pictures in their order, but for one whose bitmap could not be made.
void Recovery::LinkStored() {
    FileData* record = m_store.gmyPictureData->sentinel->next;
    for (Candidate& candidate : m_candidates) {
        if (!candidate.stored)
            continue;
        candidate.stored = record != nullptr && record->streamHash == candidate.picture.hash;
        if (!candidate.stored)
            continue;
        record->journalPosition = candidate.position;
        record->oldAddress = candidate.picture.address;
        record = record->next;
    }
}

bool Recovery::AddWaiting() {
    return std::ranges::all_of(
        m_candidates, [&](const Candidate& candidate) { return candidate.stored || AddWaiting(candidate); });
}

bool Recovery::AddWaiting(const Candidate& candidate) {
    const auto stream = LoadStream(m_store.journalFolder, candidate.picture);
    if (!stream && stream.error().kind != ErrorKind::Damaged && stream.error().kind != ErrorKind::NotFound)
        return Because(stream.error().message);
    if (!stream) {
        m_damage = "a picture could not be recovered: " + stream.error().message;
        return true;
    }
    // Higher than any number in use.
    const std::string name = "Picture" + std::to_string(m_store.gmyTotalePicture + 1) + ".bmp";
    if (const auto written = WriteFile(StreamPath(name), *stream, Links::Replace); !written)
        return Because(written.error().message);
    // Without a bitmap there is no preview; the picture itself is safe.
    static_cast<void>(m_store.MyJPG->DeCode(StreamPath(name), BitmapPath(name),
                                            static_cast<int>(m_store.gmyLcdWidth),
                                            static_cast<int>(m_store.gmyLcdHeight)));
    Append(name, candidate);
    return true;
}

void Recovery::Append(const std::string& name, const Candidate& candidate) {
    auto record = std::make_unique<FileData>();
    record->fileRef = BitmapPath(name);
    record->fileName = name;
    record->seqIndex = ++m_store.gmyTotalePictureNum + kAddedSequenceBase;
    record->picSize = candidate.picture.length;
    record->streamHash = candidate.picture.hash;
    record->journalPosition = candidate.position;
    record->oldAddress = candidate.returns ? candidate.picture.address : 0;
    AddNode(m_store.gmyPictureData.get(), record.release());
    ++m_store.gmyTotalePicture;
    ++m_waiting;
}

void Recovery::Finish() {
    if (m_journal != nullptr && m_waiting == 0 && !m_store.resuming && m_damage.empty())
        ForgetJournal();  // the frame has everything
    else
        m_store.journal = m_journal;
    if (m_waiting > 0) {
        ShowNumbers();
        m_store.status->ShowPictureList(m_store.gmyTotalePictureNum, 0);
    }
    ShowNotes();
}

void Recovery::ShowNotes() const {
    const std::string detail = std::to_string(m_waiting) + " waiting";
    if (m_store.resuming)
        ShowNote(kDownloadBrokenOff);
    else if (m_waiting > 0)
        ShowNote(kWaitingBack);
    if (m_store.resuming || m_waiting > 0)
        m_store.status->SetNoteDetail(detail);
    if (!m_damage.empty()) {
        ShowNote(kJournalDamaged);
        m_store.status->SetNoteDetail(m_damage);
    }
}

bool Recovery::TryJournals() {
    Verdict verdict = Verdict::AnotherFrames;
    for (int number = 1; verdict == Verdict::AnotherFrames; ++number) {
        if (number > kMostJournals)
            return Because("there are too many recovery journals of such frames");
        if (!LoadJournalNumber(number))
            return false;
        if (m_journal != nullptr)
            verdict = Judge();
        else
            verdict = ReadTable() ? Verdict::Merged : Verdict::Failed;
    }
    return verdict == Verdict::Merged;
}

bool Recovery::Run() {
    if (!TryJournals()) {
        m_store.journalFolder.clear();  // whatever lies there is not to be touched by this connection
        return false;
    }
    Finish();
    return true;
}

}  // namespace

bool ReadPicturesAndRecover() {
    return Store().statePath.empty() ? ReadPicFromFlash() : Recovery().Run();
}

}  // namespace lumato::store
