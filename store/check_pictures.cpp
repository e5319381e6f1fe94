#include "store/check_pictures.h"

#include <algorithm>
#include <system_error>

#include "base/temporary_name.h"
#include "store/known_pictures.h"
#include "store/local_room.h"
#include "store/picture_table.h"
#include "store/progress_meter.h"
#include "store/read_back.h"
#include "store/retry_history.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using CheckedBytes = std::vector<std::uint8_t>;

class Check {
  public:
    Result<CheckReport> Run();

  private:
    Result<void> CheckSlot(ByteSpan slot, CheckedPicture& picture);
    void Judge(const CheckedBytes& stream, const std::optional<Digest>& wanted, CheckedPicture& picture);
    void JudgeByDecoding(const CheckedBytes& stream, CheckedPicture& picture);
    [[nodiscard]] std::string NameAt(std::int32_t address) const;

    StoreState& m_store = Store();
    // A copy: the list's own table has lost what could not be read as a picture.
    std::array<std::uint8_t, kTableSize> m_table = m_store.tableOnFrame;
    KnownPictures m_known;
    LocalRoom m_room{m_store.geometry};
    std::int64_t m_bytes = 0;
};

std::string Check::NameAt(std::int32_t address) const {
    int position = 0;
    for (const FileData& record : EachOf(m_store.gmyPictureData)) {
        if (SlotAddress(SlotOf(m_store.G_PictureList, ++position)) == address && record.inFrame == 1)
            return record.fileName;
    }
    return {};
}

void Check::JudgeByDecoding(const CheckedBytes& stream, CheckedPicture& picture) {
    picture.reason = m_room.WhyNoBitmap(static_cast<std::int64_t>(stream.size()));
    if (!picture.reason.empty())
        return;
    const Path bitmap = BitmapPath(TemporaryName("check"));
    const bool decoded =
        m_store.MyJPG->DeCodeStream(stream, bitmap, m_store.geometry.lcdWidth, m_store.geometry.lcdHeight);
    std::error_code ignored;
    std::filesystem::remove(bitmap, ignored);
    if (decoded)
        return;
    const Error& error = m_store.MyJPG->LastError();
    picture.reason = error.message;
    if (error.kind == ErrorKind::Damaged)
        picture.health = PictureHealth::Damaged;
}

void Check::Judge(const CheckedBytes& stream, const std::optional<Digest>& wanted, CheckedPicture& picture) {
    JudgeByDecoding(stream, picture);
    if (picture.health == PictureHealth::Damaged)
        return;
    // Another frame of the model can have the same table, and other pictures that are just as right.
    if (wanted && !m_store.frameIndividual.empty()) {
        picture.health = PictureHealth::Damaged;
        picture.reason = Phrase("BYTES_NOT_WRITTEN", "its bytes are not the ones that were written");
    } else if (picture.reason.empty()) {
        picture.reason =
            wanted ? Phrase("BYTES_OF_ANOTHER_FRAME",
                            "its bytes are others than were written, perhaps to another frame of the model")
                   : Phrase("BYTES_UNKNOWN", "it can be shown; nothing is known here of what was written");
    }
}

// What does not match is read again: a cable that loses bits is no damage.
Result<void> Check::CheckSlot(ByteSpan slot, CheckedPicture& picture) {
    const std::int32_t address = SlotAddress(slot);
    const std::int32_t length = SlotLength(slot);
    picture.name = NameAt(address);
    picture.address = address;
    picture.length = length;
    if (!m_store.geometry.HoldsPicture(address, length)) {
        picture.health = PictureHealth::Damaged;
        picture.reason = Phrase("LIES_OUTSIDE", "the table says that it lies outside the picture area");
        return {};
    }
    const std::optional<Digest> wanted = picture.wanted = KnownHash(m_known, address, length);
    LUMATO_TRY(CheckedBytes stream, ReadPictureBytes(address, length));
    m_bytes += length;
    if (!wanted || Sha256(stream) != *wanted) {
        LUMATO_TRY(CheckedBytes again, ReadPictureBytes(address, length));
        picture.readUneven = again != stream;
        stream = std::move(again);
    }
    if (wanted && Sha256(stream) == *wanted) {
        picture.health = PictureHealth::Good;
        return {};
    }
    Judge(stream, wanted, picture);
    return {};
}

Result<CheckReport> Check::Run() {
    if (!m_store.picturesShown || !IsTable(m_table))
        return Fail(ErrorKind::Refused,
                    Phrase("NO_VALID_TABLE", "the frame has no valid picture table: a download comes first"));
    m_known = LoadKnown(m_table);
    CheckReport report;
    LUMATO_TRY(report.table, CheckTable());
    ProgressMeter meter(Phase::Checking, CountStored(m_table), StoredBytes(m_table));
    for (int slot = 1; slot < kSlotCount; ++slot) {
        const MutableByteSpan entry = SlotOf(m_table, slot);
        if (entry[0] != kSlotStored)
            continue;
        report.stopped = StopRequested();
        if (report.stopped)
            break;
        CheckedPicture picture;
        picture.position = static_cast<int>(report.pictures.size()) + 1;
        meter.Reach(picture.position, m_bytes);
        LUMATO_TRY_VOID(CheckSlot(entry, picture));
        report.pictures.push_back(std::move(picture));
    }
    return report;
}

}  // namespace

Result<CheckReport> CheckPictures() {
    const flash::TransferCount before = flash::Transferred();
    auto report = Check().Run();
    NoteRetries(before);
    return report;
}

}  // namespace lumato::store
