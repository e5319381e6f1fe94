#include "backup/restore_frame.h"

#include <algorithm>
#include <ctime>
#include <set>
#include <system_error>

#include "backup/back_up_frame.h"
#include "base/temporary_name.h"
#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "picture/picture_state.h"
#include "picture/rv512_encoder.h"
#include "picture/stream_made_anew.h"
#include "store/local_files.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/read_back.h"
#include "store/replace_list.h"
#include "store/store.h"

namespace lumato::backup {
namespace {

constexpr Words kNoPicture{"BACKUP_BYTES_DAMAGED", "its bytes in the backup are damaged, or missing"};

void RemoveFiles(const store::FileData& record) {
    std::error_code ignored;
    std::filesystem::remove(record.fileRef, ignored);
    std::filesystem::remove(store::StreamPath(record.fileName), ignored);
}

// A frame of another shape shows another part of the photograph: of a pose that was set by hand, only how it
// is turned holds for both.
picture::AlbumEntry ForAnotherDisplay(picture::AlbumEntry entry) {
    entry.pose = picture::Pose{.rotate = entry.pose.rotate, .fit = entry.pose.fit};
    return entry;
}

}  // namespace

// Makes the pictures of one backup, one after the other.
class Restorer {
  public:
    explicit Restorer(const Backup& backup)
        : m_backup(backup), m_asItWas(!backup.frame || backup.frame->ShowsAs(PresentFrame())) {}

    Result<Restoration> Run();

  private:
    Result<void> Make(const BackedUpPicture& picture);
    Result<Made> MakeFiles(BackedUpPicture picture, const store::FileData& record);
    [[nodiscard]] Stream StreamOfList(const Digest& hash) const;
    Result<Made> KeepStream(const BackedUpPicture& picture, const store::FileData& record);
    Result<Made> FitAnew(const BackedUpPicture& picture, const store::FileData& record);
    Result<std::vector<std::uint8_t>> PixelsOf(const BackedUpPicture& picture, Made& made);
    Result<std::vector<std::uint8_t>> PixelsOfPicture(const BackedUpPicture& picture);
    void RememberOrigin(const BackedUpPicture& picture, const Digest& hash, Made made);
    [[nodiscard]] Result<void> CheckRoom() const;
    [[nodiscard]] int CountLost() const;

    const Backup& m_backup;
    const bool m_asItWas;
    store::StoreState& m_store = store::Store();
    picture::CRv512Encoder m_codec;
    Restoration m_restoration;
};

// A full disk says nothing about the picture.
Result<Made> Restorer::KeepStream(const BackedUpPicture& picture, const store::FileData& record) {
    LUMATO_TRY_VOID(WriteFile(store::StreamPath(record.fileName), picture.stream, Links::Replace));
    if (!m_codec.DeCodeStream(picture.stream, record.fileRef, m_store.geometry.lcdWidth,
                              m_store.geometry.lcdHeight))
        return tl::unexpected(m_codec.LastError());
    return Made::AsItWas;
}

Result<std::vector<std::uint8_t>> Restorer::PixelsOfPicture(const BackedUpPicture& picture) {
    const Path bitmap = store::BitmapPath(TemporaryName("restored"));
    if (!m_codec.DeCodeStream(picture.stream, bitmap, m_backup.frame->lcdWidth, m_backup.frame->lcdHeight))
        return tl::unexpected(m_codec.LastError());
    auto pixels = picture::ComposeFitted(bitmap, m_store.geometry.lcdWidth, m_store.geometry.lcdHeight);
    std::error_code ignored;
    std::filesystem::remove(bitmap, ignored);
    return pixels;
}

Result<std::vector<std::uint8_t>> Restorer::PixelsOf(const BackedUpPicture& picture, Made& made) {
    std::error_code ignored;
    made = Made::FromOriginal;
    if (picture.origin && std::filesystem::is_regular_file(picture.origin->source, ignored) &&
        picture::StateOf(*picture.origin) == picture::Original::There) {
        auto pixels = picture::PixelsMadeAnew(ForAnotherDisplay(*picture.origin));
        if (pixels)
            return pixels;
    }
    made = Made::FromPicture;
    return PixelsOfPicture(picture);
}

Result<Made> Restorer::FitAnew(const BackedUpPicture& picture, const store::FileData& record) {
    const int width = m_store.geometry.lcdWidth;
    const int height = m_store.geometry.lcdHeight;
    Made made = Made::FromOriginal;
    LUMATO_TRY(const auto pixels, PixelsOf(picture, made));
    LUMATO_TRY_VOID(picture::SaveBmpFile(pixels, width, height, record.fileRef));
    const int quality = picture.origin ? picture.origin->quality : m_store.G_PicQuality;
    if (m_codec.EnCode(record.fileRef, store::StreamPath(record.fileName), width, height, quality,
                       m_store.G_YValue) <= 0)
        return tl::unexpected(m_codec.LastError());
    return made;
}

// Of a picture that the present list has, too; empty: it has none that is whole.
Stream Restorer::StreamOfList(const Digest& hash) const {
    int position = 0;
    for (const store::FileData& record : store::EachOf(m_store.gmyPictureData)) {
        ++position;
        if (record.streamHash != hash)
            continue;
        const bool inFrame = record.inFrame == 1;
        auto stream = store::StreamOf(
            record, inFrame ? store::SlotAddress(store::SlotOf(m_store.G_PictureList, position)) : 0);
        if (stream && Sha256(*stream) == hash)
            return std::move(*stream);
    }
    return {};
}

// What the backup has lost may still be here.
Result<Made> Restorer::MakeFiles(BackedUpPicture picture, const store::FileData& record) {
    Stream here;
    if (picture.stream.empty()) {
        here = StreamOfList(picture.hash);
        picture.stream = here;
    }
    if (picture.stream.empty())
        return Fail(ErrorKind::Damaged, kNoPicture);
    return m_asItWas ? KeepStream(picture, record) : FitAnew(picture, record);
}

void Restorer::RememberOrigin(const BackedUpPicture& picture, const Digest& hash, Made made) {
    if (!picture.origin || made == Made::FromPicture)
        return;
    picture::AlbumEntry entry = *picture.origin;
    if (made == Made::FromOriginal) {
        entry = ForAnotherDisplay(entry);
        entry.added = static_cast<std::int64_t>(std::time(nullptr));
    }
    m_restoration.m_origins.emplace_back(hash, entry);
}

// What cannot be written ends it; whatever else is wrong concerns this picture alone.
Result<void> Restorer::Make(const BackedUpPicture& picture) {
    store::FileData record;
    record.fileName =
        "Picture" + std::to_string(m_store.gmyTotalePicture + 1 + m_restoration.Count()) + ".bmp";
    record.fileRef = store::BitmapPath(record.fileName);
    RestoredPicture restored{.name =
                                 picture.origin ? picture.origin->source.filename().string() : picture.name};
    const Result<Made> made = MakeFiles(picture, record);
    if (!made) {
        RemoveFiles(record);
        if (made.error().kind == ErrorKind::Unwritable)
            return tl::unexpected(made.error());
        restored.refused = made.error().message;
    } else {
        LUMATO_TRY(const auto stream, ReadPlainFile(store::StreamPath(record.fileName)));
        record.picSize = static_cast<std::int32_t>(stream.size());
        record.streamHash = Sha256(stream);
        record.seqIndex = m_restoration.Count() + 1 + store::kAddedSequenceBase;
        restored.made = *made;
        RememberOrigin(picture, *record.streamHash, *made);
        m_restoration.m_records.push_back(std::move(record));
    }
    m_restoration.m_pictures.push_back(std::move(restored));
    return {};
}

// After each picture: a forged backup may tell of one picture as often as it likes, and the disk is people's.
Result<void> Restorer::CheckRoom() const {
    const store::FrameGeometry& geometry = m_store.geometry;
    std::int64_t bytes = 0;
    for (const store::FileData& record : m_restoration.m_records)
        bytes += record.picSize;
    if (m_restoration.Count() > geometry.mostPictures)
        return Fail(ErrorKind::Refused,
                    Phrase("BACKUP_HAS_MORE",
                           "the backup has {0} pictures, and the frame holds {1}; nothing "
                           "was changed",
                           m_backup.pictures.size(), geometry.mostPictures));
    if (bytes > geometry.PictureAreaSize())
        return Fail(ErrorKind::Refused, Phrase("BACKUP_TAKES_MORE",
                                               "the pictures of the backup take more than the {0} bytes that "
                                               "the frame has room for; nothing was changed",
                                               geometry.PictureAreaSize()));
    return {};
}

// What the backup names and cannot give is as lost as what it does not name.
int Restorer::CountLost() const {
    std::set<Digest> inBackup;
    for (std::size_t i = 0; i < m_backup.pictures.size(); ++i) {
        if (m_restoration.m_pictures[i].refused.empty())
            inBackup.insert(m_backup.pictures[i].hash);
    }
    int lost = 0;
    for (const store::FileData& record : store::EachOf(m_store.gmyPictureData))
        lost += record.streamHash && inBackup.contains(*record.streamHash) ? 0 : 1;
    return lost;
}

Result<Restoration> Restorer::Run() {
    if (m_store.gmyPictureData == nullptr)
        return Fail(ErrorKind::Refused, store::kNoFrame);
    if (!m_store.geometry.whyReadOnly.empty())
        return Fail(ErrorKind::Refused, m_store.geometry.whyReadOnly);
    LUMATO_TRY_VOID(store::PrepareLocalFolders());
    for (const BackedUpPicture& picture : m_backup.pictures) {
        if (store::StopRequested())
            return Fail(ErrorKind::Refused, Phrase("STOPPED_NO_CHANGE", "stopped; nothing was changed"));
        LUMATO_TRY_VOID(Make(picture));
        LUMATO_TRY_VOID(CheckRoom());
        m_store.status->SetDownLoadPrcess(
            static_cast<int>(100 * m_restoration.m_pictures.size() / m_backup.pictures.size()));
    }
    if (m_restoration.Count() == 0)
        return Fail(ErrorKind::Damaged,
                    Phrase("BACKUP_ALL_DAMAGED", "no picture of the backup is whole; nothing was changed"));
    m_restoration.m_lost = CountLost();
    return std::move(m_restoration);
}

const char* TextOf(Made made) {
    switch (made) {
        case Made::AsItWas:
            return "as it was";
        case Made::FromOriginal:
            return "from its original";
        case Made::FromPicture:
            break;
    }
    return "from its picture";
}

Restoration::~Restoration() {
    for (const store::FileData& record : m_records)
        RemoveFiles(record);
}

// The files of what stood here go with `other`.
Restoration& Restoration::operator=(Restoration&& other) noexcept {
    std::swap(m_pictures, other.m_pictures);
    std::swap(m_records, other.m_records);
    std::swap(m_origins, other.m_origins);
    std::swap(m_lost, other.m_lost);
    return *this;
}

void Restoration::Apply() {
    const auto number = static_cast<std::int32_t>(m_records.size());
    store::ReplaceList(std::exchange(m_records, {}));
    store::Store().gmyTotalePicture += number;
    for (const auto& [hash, entry] : m_origins) {
        if (picture::Pictures().album.Find(hash) == nullptr)
            static_cast<void>(picture::Pictures().album.Remember(hash, entry));
    }
}

Result<Restoration> PrepareRestoration(const Backup& backup) {
    return Restorer(backup).Run();
}

}  // namespace lumato::backup
