#include <algorithm>
#include <utility>

#include "base/printable.h"
#include "import/import.h"
#include "import/stop_question.h"
#include "picture/add_pictures.h"
#include "picture/messages.h"
#include "picture/picture_levels.h"
#include "store/status_port.h"
#include "store/transfer.h"

namespace lumato::picture {
namespace {

void ResetControls() {
    PictureState& state = Pictures();
    store::Store().TheSmallestValue = 0;
    state.OldValue = 0;
    if (std::exchange(state.fit, Fit::Fill) != Fit::Fill && state.port != nullptr)
        state.port->ControlChanged(EditControl::Fit);
    state.controls.rotate.SetValue(0);
    state.controls.translateY.SetValue(0);
    state.controls.translateX.SetValue(0);
    if (!state.gmySuitableSize) {
        state.gmySuitableSize = true;
        if (state.port != nullptr)
            state.port->ControlChanged(EditControl::SuitableSize);
    }
}

void ReleaseEditPicture() {
    ReleaseMyImage();
    ReleaseMyBiBuff(false);
    Pictures().controls.scale.SetValue(0);
}

void FitToLcd() {
    PictureState& state = Pictures();
    store::StoreState& store = store::Store();
    MyImage& image = *state.gmyCGimage;
    const auto width = static_cast<int>(image.image->width);
    const int height = image.image->height;
    const float fit = FitScale(width, height, store.gmyLcdWidth, store.gmyLcdHeight);
    image.scaleX *= fit;
    image.scaleY *= fit;
    store.gmyDrawrect = RestingRect(store.gmyLcdWidth, store.gmyLcdHeight);
    store.TheSmallestValue = FitPercent(fit);
    state.controls.scale.SetValue(store.TheSmallestValue);
    SetOffsetRanges(fit * static_cast<float>(width), fit * static_cast<float>(height));
}

std::unique_ptr<MyImage> MakeHandle(std::shared_ptr<PictureLevels> levels = nullptr) {
    auto image = std::make_unique<MyImage>();
    image->image = Pictures().gmyCGimagebi.get();
    image->levels = levels != nullptr ? std::move(levels) : std::make_shared<PictureLevels>(*image->image);
    return image;
}

// The second half of a selection: the loaded picture fitted, or why there is none.
Result<void> Show(const Path& file, Result<std::unique_ptr<MyImage>> loaded) {
    if (loaded) {
        Pictures().gmyCGimage = std::move(*loaded);
        Pictures().editSource = file;
        FitToLcd();
        ShowImportNote(Pictures().gmyCGimagebi->note, file);
    } else {
        ShowNote(kCannotRead, About(Printable(file.filename().string()), loaded.error().message));
    }
    RequestRedraw();
    if (!loaded)
        return tl::unexpected(Error{loaded.error().kind, kCannotRead, std::move(loaded).error().message});
    return {};
}

}  // namespace

void ShowNote(const Phrase& note, const Phrase& reason) {
    store::StatusPort* status = store::Store().status;
    if (status == nullptr)
        return;
    store::ShowNote(note);
    status->SetNoteDetail(reason);
}

Result<std::unique_ptr<BitmapInfo>> ImportForEditView(const Path& file, float lcdWidth, float lcdHeight,
                                                      Processors processors) {
    auto info = std::make_unique<BitmapInfo>();
    LUMATO_TRY_VOID(
        CreateMyImage(file, false, LargestScale(lcdWidth, lcdHeight), *info, processors, Held::AsStored));
    return info;
}

Result<std::unique_ptr<MyImage>> LoadPicture(const Path& file) {
    PictureState& state = Pictures();
    const store::StoreState& store = store::Store();
    const StopQuestion question(store::StopRequested);
    Result<std::unique_ptr<BitmapInfo>> info = ImportForEditView(file, store.gmyLcdWidth, store.gmyLcdHeight);
    state.gmyCGimagebi =
        info ? std::shared_ptr<BitmapInfo>(std::move(*info)) : std::make_shared<BitmapInfo>();
    if (!info)
        return tl::unexpected(std::move(info).error());
    return MakeHandle();
}

void ReleaseMyImage() {
    Pictures().gmyCGimage.reset();
}

void ReleaseMyBiBuff(bool preview) {
    if (!preview)
        Pictures().gmyCGimagebi.reset();
}

Result<void> SelectOnePicture(const Path& file, bool interactive) {
    PictureState& state = Pictures();
    const bool heldBefore = std::exchange(state.redrawHeld, state.redrawHeld || !interactive);
    ResetControls();
    ReleaseEditPicture();
    Result<void> shown = Show(file, LoadPicture(file));
    state.redrawHeld = heldBefore;
    return shown;
}

Result<void> SelectImported(const Path& file, Result<std::unique_ptr<BitmapInfo>> imported,
                            std::shared_ptr<PictureLevels> levels) {
    ResetControls();
    ReleaseEditPicture();
    if (!imported)
        return Show(file, tl::unexpected(std::move(imported).error()));
    Pictures().gmyCGimagebi = std::move(*imported);
    return Show(file, MakeHandle(std::move(levels)));
}

void ShowImportNote(const Phrase& note, const Path& file) {
    if (store::StatusPort* status = store::Store().status; status != nullptr && !note.empty())
        status->SetNoteDetail(About(Printable(file.filename().string()), note));
}

void ReleaseSelection() {
    ReleaseEditPicture();
    RequestRedraw();
}

}  // namespace lumato::picture
