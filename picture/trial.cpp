#include "picture/trial.h"

#include <cmath>
#include <new>
#include <tuple>

#include "picture/add_pictures.h"
#include "picture/messages.h"
#include "picture/pixel_encoder.h"

namespace lumato::picture {
namespace {

Result<Trial::Outcome> Try(const Trial& trial, const IsWanted& isWanted) {
    const auto forgotten = [&] { return isWanted && !isWanted(); };
    Trial::Outcome outcome;
    if (forgotten())
        return Fail(ErrorKind::Gone, {});
    LUMATO_TRY(outcome.composed,
               RenderLcdBitmap(trial.rect, &trial.image, trial.lcdWidth, trial.lcdHeight, isWanted));
    PixelEncoder encoder(outcome.composed, trial.lcdWidth, trial.lcdHeight, trial.yValue);
    outcome.quality = trial.plan.quality;
    const auto stream = trial.plan.shared ? encoder.Within(outcome.quality, kQualityStep, trial.plan.room)
                                          : encoder.At(outcome.quality);
    if (!stream)
        return Fail(ErrorKind::TooLarge, kBeyondFramePicture);
    if (forgotten())
        return Fail(ErrorKind::Gone, {});
    outcome.bytes = static_cast<int>(stream->size());
    LUMATO_TRY_VOID(jpeg::DecodeStream(*stream, trial.lcdWidth, trial.lcdHeight, outcome.decoded));
    return outcome;
}

}  // namespace

Result<Trial::Outcome> Trial::Run(const IsWanted& isWanted) const {
    try {
        return Try(*this, isWanted);
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, kBeyondMemory);
    }
}

bool Trial::ShowsTheSame(const Trial& other) const {
    const auto pose = [](const MyImage& posed) {
        return std::tuple(posed.rotation, posed.scaleX, posed.scaleY, posed.translateX, posed.translateY);
    };
    return pixels == other.pixels && pose(image) == pose(other.image) && rect == other.rect &&
           lcdWidth == other.lcdWidth && lcdHeight == other.lcdHeight;
}

std::optional<Trial> TakeTrial(int replaces) {
    const PictureState& pictures = Pictures();
    const store::StoreState& store = store::Store();
    if (pictures.gmyCGimage == nullptr || pictures.gmyCGimagebi == nullptr ||
        std::abs(store.gmyDrawrect.width) != store.gmyLcdWidth ||
        std::abs(store.gmyDrawrect.height) != store.gmyLcdHeight)
        return std::nullopt;
    return Trial{.pixels = pictures.gmyCGimagebi,
                 .image = *pictures.gmyCGimage,
                 .rect = WithTopLeftCorner(store.gmyDrawrect),
                 .lcdWidth = static_cast<int>(store.gmyLcdWidth),
                 .lcdHeight = static_cast<int>(store.gmyLcdHeight),
                 .yValue = store.G_YValue,
                 .plan = PlanEncoding({replaces}, store.gmyTotalePictureNum + (replaces == 0 ? 1 : 0))};
}

}  // namespace lumato::picture
