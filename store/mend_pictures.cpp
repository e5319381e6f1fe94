#include "store/mend_pictures.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include "flash/checked_transfer.h"
#include "store/block_check.h"
#include "store/journal_folder.h"
#include "store/local_room.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/read_back.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using PictureBytes = std::vector<std::uint8_t>;
using flash::kBlockSize;

constexpr Words kNoSource{
    "NO_WHOLE_COPY",
    "no whole copy of it was found here: its original as it was, or the computer that wrote it, would help"};
constexpr Words kOutOfReach{"LIES_OUT_OF_REACH", "it lies where nothing can be written"};

bool HasHash(const Result<PictureBytes>& stream, const Digest& hash) {
    return stream && Sha256(*stream) == hash;
}

class Mending {
  public:
    Mending(CheckReport& report, const StreamSource& source) : m_report(report), m_source(source) {}
    Result<int> Run();

  private:
    Result<void> MatchList();
    Result<void> ListMissing();
    Result<void> ListOne(std::size_t index);
    void MakeTable();
    [[nodiscard]] std::optional<PictureBytes> Find(const CheckedPicture& picture) const;
    [[nodiscard]] std::optional<PictureBytes> FindInJournals(const CheckedPicture& picture) const;
    Result<void> TakeLocally(FileData& record, const CheckedPicture& picture, const PictureBytes& stream);
    Result<void> Overlay(const CheckedPicture& picture, const PictureBytes& stream);
    Result<PictureBytes*> Block(std::int32_t base);

    CheckReport& m_report;
    const StreamSource& m_source;
    StoreState& m_store = Store();
    LocalRoom m_room{m_store.geometry};
    std::vector<FileData*> m_records;   // one for each slot of the frame's table; null: it is not listed
    std::vector<PictureBytes> m_slots;  // theirs
    std::map<std::int32_t, PictureBytes> m_blocks;
    std::set<std::int32_t> m_changed;
};

// The list has the frame's pictures in their order, but for those that could not be shown; what waits stands
// behind them.
Result<void> Mending::MatchList() {
    if (m_store.resuming || !m_store.picturesShown)
        return Fail(ErrorKind::Refused, kDownloadFirst);
    auto table = m_store.tableOnFrame;
    FileData* record = m_store.gmyPictureData->sentinel->next;
    int position = 1;
    for (int slot = 1; slot < kSlotCount; ++slot) {
        const ByteSpan entry = SlotOf(table, slot);
        if (entry[0] != kSlotStored)
            continue;
        const bool listed = record != nullptr && record->inFrame == 1 && position <= kMostPictures &&
                            record->picSize == SlotLength(entry) &&
                            SlotAddress(SlotOf(m_store.G_PictureList, position)) == SlotAddress(entry);
        m_records.push_back(listed ? record : nullptr);
        m_slots.emplace_back(entry.begin(), entry.end());
        if (!listed)
            continue;
        m_room.Take(*record);
        record = record->next;
        ++position;
    }
    for (; record != nullptr; record = record->next) {
        if (record->inFrame == 1)
            return Fail(
                ErrorKind::Refused,
                Phrase("LIST_HAS_CHANGED", "the list is not the frame's any more: a download comes first"));
    }
    return {};
}

// A picture that cannot be shown is not in the list, and a download would take it out of the table.
Result<void> Mending::ListOne(std::size_t index) {
    const std::int32_t address = SlotAddress(m_slots[index]);
    const std::int32_t length = SlotLength(m_slots[index]);
    if (!m_store.geometry.HoldsPicture(address, length))
        return {};
    LUMATO_TRY(const PictureBytes stream, ReadPictureBytes(address, length));
    const std::string name = "Picture" + std::to_string(m_store.gmyTotalePicture + 1) + ".bmp";
    auto record = std::make_unique<FileData>();
    record->fileRef = BitmapPath(name);
    record->fileName = name;
    record->inFrame = 1;
    record->seqIndex = static_cast<std::int32_t>(index);
    record->picSize = length;
    record->streamHash = Sha256(stream);
    record->whyNoBitmap = Phrase("BYTES_DAMAGED", "its bytes are damaged");
    record->onlyOnFrame = !m_room.HasRoomFor(length);
    if (!record->onlyOnFrame)
        LUMATO_TRY_VOID(WriteFile(StreamPath(name), stream, Links::Replace));
    m_room.Take(*record);
    FileData* before = m_store.gmyPictureData->sentinel;
    for (std::size_t i = 0; i < index; ++i)
        before = m_records[i] != nullptr ? m_records[i] : before;
    record->next = before->next;
    m_records[index] = before->next = record.release();
    ++m_store.gmyPictureData->count;
    ++m_store.gmyTotalePictureNum;
    ++m_store.gmyTotalePicture;
    return {};
}

Result<void> Mending::ListMissing() {
    if (std::ranges::find(m_records, nullptr) == m_records.end())
        return {};
    for (std::size_t i = 0; i < m_records.size(); ++i) {
        if (m_records[i] == nullptr)
            LUMATO_TRY_VOID(ListOne(i));
    }
    MakeTable();
    CountFreeSpace();
    return {};
}

// As connecting makes it, with all of them.
void Mending::MakeTable() {
    auto& table = m_store.G_PictureList;
    table = m_store.tableOnFrame;
    int count = 0;
    for (std::size_t i = 0, slot = 0; i < m_records.size(); ++slot) {
        const MutableByteSpan entry = SlotOf(table, static_cast<int>(slot) + 1);
        if (entry[0] != kSlotStored)
            continue;
        if (m_records[i++] != nullptr)
            ++count;
        else
            std::ranges::fill(entry, std::uint8_t{0});
    }
    for (int slot = 1; slot <= kSlotCount; ++slot) {
        if (SlotOf(table, slot)[0] != kSlotStored)
            SlotOf(table, slot)[0] = kSlotFree;
    }
    MovePicAddressInPicList(count);
}

std::optional<PictureBytes> Mending::FindInJournals(const CheckedPicture& picture) const {
    if (m_store.statePath.empty())
        return std::nullopt;
    const auto places = JournalPlaces(m_store.statePath);
    if (!places)
        return std::nullopt;
    for (const JournalPlace& place : *places) {
        Result<PictureBytes> stream = ReadStream(place.folder, {*picture.wanted, picture.length, 0});
        if (HasHash(stream, *picture.wanted))
            return std::move(*stream);
    }
    return std::nullopt;
}

std::optional<PictureBytes> Mending::Find(const CheckedPicture& picture) const {
    const FileData* record = m_records[static_cast<std::size_t>(picture.position) - 1];
    if (record != nullptr && !record->onlyOnFrame) {
        Result<PictureBytes> local =
            ReadPlainFile(StreamPath(record->fileName), static_cast<std::uintmax_t>(picture.length));
        if (HasHash(local, *picture.wanted))
            return std::move(*local);
    }
    std::optional<PictureBytes> stream = FindInJournals(picture);
    if (!stream && m_source)
        stream = m_source(*picture.wanted, picture.length);
    if (stream && stream->size() == static_cast<std::size_t>(picture.length) &&
        Sha256(*stream) == *picture.wanted)
        return stream;
    return std::nullopt;
}

Result<void> Mending::TakeLocally(FileData& record, const CheckedPicture& picture,
                                  const PictureBytes& stream) {
    if (!record.onlyOnFrame)
        LUMATO_TRY_VOID(WriteFile(StreamPath(record.fileName), stream, Links::Replace));
    record.streamHash = picture.wanted;
    record.whyNoBitmap = m_room.WhyNoBitmap(picture.length);
    if (record.whyNoBitmap.empty() &&
        !m_store.MyJPG->DeCodeStream(stream, record.fileRef, m_store.geometry.lcdWidth,
                                     m_store.geometry.lcdHeight))
        record.whyNoBitmap = m_store.MyJPG->LastError().message;
    return {};
}

Result<PictureBytes*> Mending::Block(std::int32_t base) {
    const auto found = m_blocks.find(base);
    if (found != m_blocks.end())
        return &found->second;
    PictureBytes block(static_cast<std::size_t>(std::min(kBlockSize, m_store.geometry.writableEnd - base)));
    if (!flash::ReadFlashData(block.data(), static_cast<int>(block.size()), base))
        return Fail(ErrorKind::Unreadable, kFrameUnreadable);
    return &m_blocks.emplace(base, std::move(block)).first->second;
}

Result<void> Mending::Overlay(const CheckedPicture& picture, const PictureBytes& stream) {
    for (std::int32_t done = 0; done < picture.length;) {
        const std::int32_t offset = (picture.address + done) % kBlockSize;
        const std::int32_t base = picture.address + done - offset;
        const std::int32_t part = std::min(kBlockSize - offset, picture.length - done);
        LUMATO_TRY(PictureBytes* const block, Block(base));
        if (!std::equal(stream.begin() + done, stream.begin() + done + part, block->begin() + offset)) {
            std::copy_n(stream.begin() + done, part, block->begin() + offset);
            m_changed.insert(base);
        }
        done += part;
    }
    return {};
}

Result<int> Mending::Run() {
    if (!m_store.geometry.whyReadOnly.empty())
        return Fail(ErrorKind::Refused, m_store.geometry.whyReadOnly);
    LUMATO_TRY_VOID(MatchList());
    int found = 0;
    for (CheckedPicture& picture : m_report.pictures) {
        if (!MayBeMended(m_report, picture))
            continue;
        const bool reachable = m_store.geometry.CanWrite(picture.address, picture.length);
        const std::optional<PictureBytes> stream = reachable ? Find(picture) : std::nullopt;
        if (!stream) {
            picture.reason = Joined(picture.reason, kSemicolon, reachable ? kNoSource : kOutOfReach);
            continue;
        }
        if (found++ == 0)
            LUMATO_TRY_VOID(ListMissing());
        LUMATO_TRY_VOID(
            TakeLocally(*m_records[static_cast<std::size_t>(picture.position) - 1], picture, *stream));
        LUMATO_TRY_VOID(Overlay(picture, *stream));
        picture.found = true;
    }
    // The download writes the table as it is known.
    if (!m_report.table.good && m_report.table.known) {
        if (found++ == 0)
            LUMATO_TRY_VOID(ListMissing());
    }
    for (const std::int32_t base : m_changed) {
        if (!AgreesWithLocalCopies(base, m_blocks[base]))
            return Fail(
                ErrorKind::Refused,
                Phrase(
                    "NEIGHBOURS_READ_OTHERWISE",
                    "pictures beside the damaged ones read otherwise than before; connect the frame anew"));
    }
    for (const std::int32_t base : m_changed)
        m_store.blocksAtRisk[base] = std::move(m_blocks[base]);
    return found;
}

}  // namespace

bool MayBeMended(const CheckReport& report, const CheckedPicture& picture) {
    const bool known = !Store().frameIndividual.empty() ||
                       std::ranges::find(report.pictures, PictureHealth::Good, &CheckedPicture::health) !=
                           report.pictures.end();
    return known && picture.health == PictureHealth::Damaged && picture.wanted.has_value();
}

Result<int> PrepareMending(CheckReport& report, const StreamSource& source) {
    return Mending(report, source).Run();
}

void NoteMended(CheckReport& report) {
    if (!report.table.good && report.table.known) {
        report.table.good = report.table.mended = true;
        report.table.reason = {};
    }
    for (CheckedPicture& picture : report.pictures) {
        if (!picture.found)
            continue;
        picture.health = PictureHealth::Mended;
        picture.reason = {};
    }
}

}  // namespace lumato::store
