#include "picture/add_pictures.h"

#include <ctime>
#include <new>
#include <system_error>
#include <utility>

#include "base/printable.h"
#include "picture/bitmap_file.h"
#include "picture/messages.h"
#include "picture/pixel_encoder.h"
#include "store/local_files.h"
#include "store/replace_picture.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::picture {
namespace {

// One picture on its way into the list, under the number that gmyTotalePicture gave it.
class Addition {
  public:
    explicit Addition(const Placing& placing)
        : m_placing(placing), m_name("Picture" + std::to_string(m_store.gmyTotalePicture) + ".bmp") {}

    // Takes a number for it, and counts it.
    static void Begin(const Placing& placing) {
        store::StoreState& store = store::Store();
        ++store.gmyTotalePicture;
        store.gmyTotalePictureNum += placing.replaces == 0 ? 1 : 0;
    }

    void ShowNumber() const {
        if (m_store.status != nullptr)
            store::ShowNote(kSequence,
                            m_placing.replaces == 0 ? m_store.gmyTotalePictureNum : m_placing.replaces);
    }

    [[nodiscard]] Path Source() const { return store::BitmapPath(m_name); }

    Result<AddedPicture> Encode(ByteSpan pixels) {
        const EncodingPlan plan = PlanEncoding(m_placing, m_store.gmyTotalePictureNum);
        if (!plan.whyNot.empty())
            return RefuseForRoom(kNoRoom, plan.whyNot);
        return EncodeAsPlanned(plan, pixels);
    }

    // A step of it, which is refused where memory ends.
    template <class Step>
    auto WithinMemory(Step step) -> decltype(step()) {
        try {
            return step();
        } catch (const std::bad_alloc&) {
            return RemoveAndRefuse(kCannotEncode, CannotEncode(kNoMemoryToEncode));
        }
    }

    // Gives the number back, but once: memory may run out in here, too.
    tl::unexpected<Error> Refuse(const Words& note, Error reason) {
        if (std::exchange(m_isCounted, false)) {
            --m_store.gmyTotalePicture;
            m_store.gmyTotalePictureNum -= m_placing.replaces == 0 ? 1 : 0;
        }
        ShowNote(note, reason.message);
        return tl::unexpected(Error{reason.kind, note, std::move(reason.message)});
    }

    Result<AddedPicture> TakeIn(const Path& bmpPath, AddedPicture encoded) {
        auto record = std::make_unique<store::FileData>();
        record->fileRef = bmpPath;
        record->fileName = m_name;
        record->picSize = encoded.bytes;
        record->streamHash = m_streamHash;
        if (m_placing.replaces == 0)
            Append(std::move(record));
        else if (auto done = store::ReplacePicture(m_placing.replaces, std::move(record)); !done)
            return RemoveAndRefuse(done.error().kind == ErrorKind::Refused ? kNoRoom : kCannotEncode,
                                   done.error());
        try {  // it is in the list, whatever cannot be said of it
            if (m_store.status != nullptr)
                m_store.status->UpdateInfo();
            encoded.copyOf = CopyOf();
        } catch (const std::bad_alloc&) {
        }
        return encoded;
    }

  private:
    void Append(std::unique_ptr<store::FileData> picture) {
        picture->seqIndex = m_store.gmyTotalePictureNum + store::kAddedSequenceBase;
        if (!m_store.gmyPictureData)
            m_store.gmyPictureData.reset(store::CreateList());
        store::FileData& record = *picture.release();
        store::AddNode(m_store.gmyPictureData.get(), &record);
        store::CountFreeSpace();
        // It is in the list all the same; a download makes it safe once more, or says why it cannot.
        try {
            if (const auto kept = store::KeepAddition(record); !kept && m_store.status != nullptr)
                m_store.status->SetNoteDetail(kept.error().message);
        } catch (const std::bad_alloc&) {
        }
    }

    // The position of another picture with the same bytes.
    [[nodiscard]] int CopyOf() const {
        const store::FileDataHead* list = m_store.gmyPictureData.get();
        const int position = store::PositionOf(list, m_name);
        const auto& hash = store::GetNode(m_store.gmyPictureData.get(), position)->streamHash;
        int other = 0;
        for (const store::FileData& record : store::EachOf(list)) {
            if (++other != position && hash && record.streamHash == hash)
                return other;
        }
        return 0;
    }

    Result<AddedPicture> EncodeAsPlanned(const EncodingPlan& plan, ByteSpan pixels) {
        PixelEncoder encoder(pixels);
        int quality = plan.quality;
        const auto stream =
            plan.shared ? encoder.Within(quality, kQualityStep, plan.room) : encoder.At(quality);
        if (plan.shared)
            Pictures().G_CurQuanlity = quality;
        if (!stream)
            return Refuse(kCannotEncode, CannotEncode(kBeyondFramePicture));
        const auto size = static_cast<int>(stream->size());
        if (size > plan.room)
            return RefuseForSize(plan, size);
        if (Result<void> written = WriteFile(store::StreamPath(m_name), *stream, Links::Replace); !written)
            return Refuse(kCannotEncode, std::move(written).error());
        m_streamHash = Sha256(*stream);
        return AddedPicture{m_name, size, quality};
    }

    [[nodiscard]] Error CannotEncode(const Words& why) const {
        return {ErrorKind::TooLarge, About(Printable(Source().string()), why)};
    }

    tl::unexpected<Error> RefuseForSize(const EncodingPlan& plan, int size) {
        if (plan.shared)
            return RefuseForRoom(
                kNoQualityFits,
                Phrase("NO_ROOM_IN_SHARE",
                       "no room: even at the lowest quality it takes {0} bytes, and its share of "
                       "the frame is {1}",
                       size, plan.room));
        return RefuseForRoom(
            store::FrameOnline() ? kNoRoom : store::kDeviceNotOnline,
            Phrase("NO_ROOM_ON_FRAME", "no room: it takes {0} bytes, and {1} are free on the frame", size,
                   plan.room));
    }

    tl::unexpected<Error> RefuseForRoom(const Words& note, Phrase reason) {
        return RemoveAndRefuse(note, Error{ErrorKind::Refused, std::move(reason)});
    }

    tl::unexpected<Error> RemoveAndRefuse(const Words& note, Error reason) {
        std::error_code ignored;
        std::filesystem::remove(Source(), ignored);
        std::filesystem::remove(store::StreamPath(m_name), ignored);
        return Refuse(note, std::move(reason));
    }

    store::StoreState& m_store = store::Store();
    const Placing m_placing;
    std::string m_name;
    Digest m_streamHash{};
    bool m_isCounted = true;
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

// The position of another picture that was made from the same file in the same pose.
int SamePhotograph(const store::FileDataHead& list, int position, const AlbumEntry& entry) {
    int other = 0;
    for (const store::FileData& record : store::EachOf(&list)) {
        if (++other == position || !record.streamHash)
            continue;
        const AlbumEntry* made = Pictures().album.Find(*record.streamHash);
        if (made != nullptr && made->source == entry.source && made->pose == entry.pose)
            return other;
    }
    return 0;
}

}  // namespace

Result<AddedPicture> GetPicDataFromView(const store::Rect& rect, bool batch, const Placing& placing) {
    return AddComposed(RenderLcdBitmap(rect), batch, placing);
}

Result<AddedPicture> AddComposed(const Result<std::vector<std::uint8_t>>& pixels, bool batch,
                                 const Placing& placing) {
    Addition::Begin(placing);
    Addition addition(placing);
    Path bitmap;
    LUMATO_TRY_VOID(addition.WithinMemory([&]() -> Result<void> {
        addition.ShowNumber();
        bitmap = addition.Source();
        Result<void> written = WriteBitmap(pixels, bitmap);
        if (!written)
            return addition.Refuse(kCannotEncode, std::move(written).error());
        return {};
    }));
    return MySelectButtonHandler(bitmap, *pixels, !batch, placing);
}

Result<AddedPicture> MySelectButtonHandler(const Path& bmpPath, ByteSpan pixels, bool advance,
                                           const Placing& placing) {
    Addition addition(placing);
    const auto add = [&]() -> Result<AddedPicture> {
        LUMATO_TRY(AddedPicture encoded, addition.Encode(pixels));
        return addition.TakeIn(bmpPath, std::move(encoded));
    };
    LUMATO_TRY(AddedPicture added, addition.WithinMemory(add));
    if (EditPort* port = Pictures().port; port != nullptr && advance && placing.replaces == 0)
        port->SelectNextPicture();
    return added;
}

void ShowCopyOf(const AddedPicture& added, const Path& source) {
    if (added.copyOf != 0 && store::Store().status != nullptr)
        store::Store().status->SetNoteDetail(Phrase("IN_LIST_TWICE",
                                                    "{0} is in the list twice now: at position {1}, too",
                                                    Printable(source.filename().string()), added.copyOf));
}

void RememberSource(AddedPicture& added, const Path& source, const Pose& pose) {
    store::FileDataHead* list = store::Store().gmyPictureData.get();
    const int position = store::PositionOf(list, added.name);
    std::error_code error;
    AlbumEntry entry{std::filesystem::absolute(source, error).lexically_normal(), pose,
                     static_cast<std::int64_t>(std::time(nullptr)), added.quality};
    // Standard input is not there any more when somebody looks.
    if (error || entry.source.native().starts_with("/proc/") || position == 0)
        return;
    if (added.copyOf == 0)
        added.copyOf = SamePhotograph(*list, position, entry);
    NoteOriginal(entry);
    // The picture is none the worse without it.
    if (const auto& hash = store::GetNode(list, position)->streamHash)
        static_cast<void>(Pictures().album.Remember(*hash, entry));
}

Result<AddedPicture> AddEditPicture(const Placing& placing) {
    store::StoreState& store = store::Store();
    if (!Pictures().gmyCGimage)
        return Fail(ErrorKind::NotFound, Phrase("NO_PICTURE_SELECTED", "no picture is selected"));
    if (store.gmyDrawrect.width == 0 || store.gmyDrawrect.height == 0)
        return Fail(ErrorKind::Refused, Phrase("RECTANGLE_EMPTY", "the LCD rectangle is empty"));
    // Adding moves the edit view on to the next picture.
    const Path source = Pictures().editSource;
    const Pose pose = CurrentPose();
    Result<AddedPicture> added = GetPicDataFromView(WithTopLeftCorner(store.gmyDrawrect), false, placing);
    if (added) {
        RememberSource(*added, source, pose);
        ShowCopyOf(*added, source);
    }
    store.status->ShowPictureList(store.gmyTotalePictureNum, store.gmyCurrentSelectItem);
    return added;
}

}  // namespace lumato::picture
