#include "picture/add_pictures.h"

#include <ctime>
#include <system_error>

#include "base/printable.h"
#include "picture/bitmap_file.h"
#include "picture/messages.h"
#include "picture/rv512_encoder.h"
#include "store/local_files.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::picture {
namespace {

// One picture on its way into the list, under the number that gmyTotalePicture gave it.
class Addition {
  public:
    Addition() : m_name("Picture" + std::to_string(m_store.gmyTotalePicture) + ".bmp") {}

    [[nodiscard]] Path Source() const { return store::BitmapPath(m_name); }

    Result<AddedPicture> Encode() {
        const store::FrameGeometry& geometry = m_store.geometry;
        if (!geometry.whyReadOnly.empty())
            return RefuseForRoom(kNoRoom, geometry.whyReadOnly);
        if (m_store.gmyTotalePictureNum > geometry.mostPictures)
            return RefuseForRoom(
                kNoRoom, "the frame holds at most " + std::to_string(geometry.mostPictures) + " pictures");
        return m_store.G_TotalPicNum != 0 ? EncodeWithinShare() : EncodeOnce();
    }

    // Gives the number back.
    tl::unexpected<Error> Refuse(const Message& note, Error reason) {
        --m_store.gmyTotalePicture;
        --m_store.gmyTotalePictureNum;
        ShowNote(note, reason.message);
        return tl::unexpected(Error{reason.kind, TextOf(note), std::move(reason.message)});
    }

    AddedPicture Append(const Path& bmpPath, int size) {
        auto* record =
            new store::FileData{.fileRef = bmpPath,
                                .fileName = m_name,
                                .seqIndex = m_store.gmyTotalePictureNum + store::kAddedSequenceBase,
                                .picSize = size};
        if (!m_store.gmyPictureData)
            m_store.gmyPictureData.reset(store::CreateList());
        store::AddNode(m_store.gmyPictureData.get(), record);
        store::CountFreeSpace();
        // It is in the list all the same; a download makes it safe once more, or says why it cannot.
        if (const auto kept = store::KeepAddition(*record); !kept && m_store.status != nullptr)
            m_store.status->SetNoteDetail(kept.error().message);
        if (m_store.status != nullptr)
            m_store.status->UpdateInfo();
        return {m_name, size, Pictures().G_CurQuanlity, FirstCopyOf(*record)};
    }

  private:
    // The position of an earlier picture with the same bytes.
    [[nodiscard]] int FirstCopyOf(const store::FileData& added) const {
        int position = 1;
        for (const store::FileData* record = m_store.gmyPictureData->sentinel->next; record != &added;
             record = record->next, ++position) {
            if (added.streamHash && record->streamHash == added.streamHash)
                return position;
        }
        return 0;
    }

    // A frame that limits its pictures gives each place that is left its share of the space.
    Result<AddedPicture> EncodeWithinShare() {
        const int limit = m_store.G_TotalPicNum;
        const int placesAfter = limit - m_store.gmyTotalePictureNum;
        const int free = m_store.TotolFlashSizeForPic;
        const int budget = placesAfter > 0 ? free / placesAfter : free;
        int quality = m_store.G_PicQuality;
        const int size = m_encoder.EnCodeWithin(Source(), store::StreamPath(m_name), Width(), Height(),
                                                quality, kQualityStep, budget, m_store.G_YValue);
        Pictures().G_CurQuanlity = quality;
        if (size <= 0)
            return Refuse(kCannotEncode, m_encoder.LastError());
        if (size <= budget)
            return AddedPicture{m_name, size, quality};
        return RefuseForRoom(kNoQualityFits,
                             "no room: even at the lowest quality it takes " + std::to_string(size) +
                                 " bytes, and its share of the frame is " + std::to_string(budget));
    }

    Result<AddedPicture> EncodeOnce() {
        const int quality = Pictures().G_CurQuanlity;
        const int size = m_encoder.EnCode(Source(), store::StreamPath(m_name), Width(), Height(), quality,
                                          m_store.G_YValue);
        if (size <= 0)
            return Refuse(kCannotEncode, m_encoder.LastError());
        if (size <= m_store.TotolFlashSizeForPic)
            return AddedPicture{m_name, size, quality};
        return RefuseForRoom(store::FrameOnline() ? kNoRoom : store::kDeviceNotOnline,
                             "no room: it takes " + std::to_string(size) + " bytes, and " +
                                 std::to_string(m_store.TotolFlashSizeForPic) + " are free on the frame");
    }

    [[nodiscard]] int Width() const { return static_cast<int>(m_store.gmyLcdWidth); }
    [[nodiscard]] int Height() const { return static_cast<int>(m_store.gmyLcdHeight); }

    tl::unexpected<Error> RefuseForRoom(const Message& note, std::string reason) {
        std::error_code ignored;
        std::filesystem::remove(Source(), ignored);
        std::filesystem::remove(store::StreamPath(m_name), ignored);
        return Refuse(note, Error{ErrorKind::Refused, std::move(reason)});
    }

    store::StoreState& m_store = store::Store();
    std::string m_name;
    CRv512Encoder m_encoder;
};

// Nothing may be encoded but what was written just now, so every step must succeed.
Result<void> WriteBitmap(const Result<std::vector<std::uint8_t>>& pixels, const Path& path) {
    const store::StoreState& store = store::Store();
    LUMATO_TRY_VOID(store::PrepareLocalFolders());
    if (!pixels)
        return tl::unexpected(pixels.error());
    return SaveBmpFile(*pixels, static_cast<int>(store.gmyLcdWidth), static_cast<int>(store.gmyLcdHeight),
                       path);
}

}  // namespace

Result<AddedPicture> GetPicDataFromView(const store::Rect& rect, bool batch) {
    return AddComposed(RenderLcdBitmap(rect), batch);
}

Result<AddedPicture> AddComposed(const Result<std::vector<std::uint8_t>>& pixels, bool batch) {
    store::StoreState& store = store::Store();
    ++store.gmyTotalePicture;
    ++store.gmyTotalePictureNum;
    if (store.status != nullptr)
        store::ShowNote(kSequence, store.gmyTotalePictureNum);
    Addition addition;
    Result<void> written = WriteBitmap(pixels, addition.Source());
    if (!written)
        return addition.Refuse(kCannotEncode, std::move(written).error());
    return MySelectButtonHandler(addition.Source(), !batch);
}

Result<AddedPicture> MySelectButtonHandler(const Path& bmpPath, bool advance) {
    Addition addition;
    Result<AddedPicture> encoded = addition.Encode();
    if (!encoded)
        return encoded;
    const AddedPicture added = addition.Append(bmpPath, encoded->bytes);
    if (EditPort* port = Pictures().port; port != nullptr && advance)
        port->SelectNextPicture();
    return added;
}

void ShowCopyOf(const AddedPicture& added, const Path& source) {
    if (added.copyOf != 0 && store::Store().status != nullptr)
        store::Store().status->SetNoteDetail(Printable(source.filename().string()) +
                                             " is in the list twice now: at position " +
                                             std::to_string(added.copyOf) + ", too");
}

void RememberSource(const AddedPicture& added, const Path& source, const Pose& pose) {
    store::FileDataHead* list = store::Store().gmyPictureData.get();
    const store::FileData* last = list != nullptr ? store::GetNode(list, list->count) : nullptr;
    std::error_code error;
    const Path file = std::filesystem::absolute(source, error).lexically_normal();
    // Standard input is not there any more when somebody looks.
    if (error || file.native().starts_with("/proc/") || last == nullptr || last->fileName != added.name ||
        !last->streamHash)
        return;
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    // The picture is none the worse without it.
    static_cast<void>(Pictures().album.Remember(*last->streamHash, {file, pose, now, added.quality}));
}

Result<AddedPicture> AddEditPicture() {
    store::StoreState& store = store::Store();
    if (!Pictures().gmyCGimage)
        return Fail(ErrorKind::NotFound, "no picture is selected");
    if (store.gmyDrawrect.width == 0 || store.gmyDrawrect.height == 0)
        return Fail(ErrorKind::Refused, "the LCD rectangle is empty");
    // Adding moves the edit view on to the next picture.
    const Path source = Pictures().editSource;
    const Pose pose = CurrentPose();
    Result<AddedPicture> added = GetPicDataFromView(WithTopLeftCorner(store.gmyDrawrect), false);
    if (added) {
        RememberSource(*added, source, pose);
        ShowCopyOf(*added, source);
    }
    store.status->ShowPictureList(store.gmyTotalePictureNum, store.gmyCurrentSelectItem);
    return added;
}

}  // namespace lumato::picture
