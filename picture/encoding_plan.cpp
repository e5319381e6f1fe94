#include "picture/encoding_plan.h"

#include "picture/picture_state.h"
#include "store/replace_picture.h"
#include "store/store_state.h"

namespace lumato::picture {

EncodingPlan PlanEncoding(const Placing& placing, int pictures) {
    const store::StoreState& store = store::Store();
    EncodingPlan plan;
    plan.whyNot = store.geometry.whyReadOnly;
    if (plan.whyNot.empty() && pictures > store.geometry.mostPictures)
        plan.whyNot = Phrase("FRAME_HOLDS_AT_MOST", "the frame holds at most {0} pictures",
                             store.geometry.mostPictures);
    plan.room = placing.replaces == 0 ? store.TotolFlashSizeForPic : store::FreeWithout(placing.replaces);
    plan.shared = store.G_TotalPicNum != 0 && !placing.quality;
    if (!plan.shared) {
        plan.quality = placing.quality.value_or(Pictures().G_CurQuanlity);
        return plan;
    }
    // A frame that limits its pictures gives each place that is left its share of the space.
    plan.quality = store.G_PicQuality;
    if (const int placesAfter = store.G_TotalPicNum - pictures; placesAfter > 0)
        plan.room /= placesAfter;
    return plan;
}

}  // namespace lumato::picture
