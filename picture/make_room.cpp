#include "picture/make_room.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "picture/add_pictures.h"
#include "picture/messages.h"
#include "picture/pixel_encoder.h"
#include "picture/stream_made_anew.h"
#include "store/store.h"
#include "store/transfer.h"

namespace lumato::picture {
namespace {

// A picture that could be made smaller.
struct Candidate {
    int position = 0;
    std::string name;
    AlbumEntry origin;
    int bytesNow = 0;
    int bytes = 0;               // at `quality`
    int quality = 0;             // the best one that gives so few bytes
    int tried = 0;               // down to this one
    std::map<int, int> sizes{};  // by quality, once it was composed

    [[nodiscard]] int Gain() const { return bytesNow - bytes; }
};

// Its stream's size at each quality that it may come down to; none when it cannot be made any more.
void Measure(Candidate& candidate) {
    const auto pixels = PixelsMadeAnew(candidate.origin);
    if (!pixels)
        return;
    PixelEncoder encoder(*pixels);
    for (int quality = candidate.quality - kQualityStep; quality >= kLowestQuality; quality -= kQualityStep) {
        if (const auto stream = encoder.At(quality))
            candidate.sizes[quality] = static_cast<int>(stream->size());
    }
}

// Bytes that lack for a stream of that size, and what of the list could give way.
struct Need {
    std::int64_t bytes = 0;
    std::vector<Candidate> candidates;
};

Need NeedOf(std::size_t size, int replaces) {
    const store::StoreState& store = store::Store();
    Need need{static_cast<std::int64_t>(size) - store.geometry.PictureAreaSize(), {}};
    int position = 0;
    for (const store::FileData& record : store::EachOf(store.gmyPictureData)) {
        if (++position == replaces)
            continue;
        need.bytes += record.picSize;
        const AlbumEntry* made = record.streamHash ? Pictures().album.Find(*record.streamHash) : nullptr;
        if (made != nullptr && StateOf(*made) == Original::There)
            need.candidates.push_back({position, record.fileName, *made, record.picSize, record.picSize,
                                       made->quality, made->quality});
    }
    return need;
}

// The next one to be lowered; null: none can be.
Candidate* Mildest(std::vector<Candidate>& candidates) {
    const auto worse = [](const Candidate& a, const Candidate& b) {
        return a.tried != b.tried ? a.tried < b.tried : a.bytesNow < b.bytesNow;
    };
    const auto found = std::ranges::max_element(candidates, worse);
    return found != candidates.end() && found->tried - kQualityStep >= kLowestQuality ? &*found : nullptr;
}

void LowerOnce(Candidate& candidate) {
    if (candidate.sizes.empty())
        Measure(candidate);
    candidate.tried = candidate.sizes.empty() ? 0 : candidate.tried - kQualityStep;
    const auto size = candidate.sizes.find(candidate.tried);
    if (size != candidate.sizes.end() && size->second < candidate.bytes) {
        candidate.bytes = size->second;
        candidate.quality = candidate.tried;
    }
}

// Those that would not have been needed stay as they are, the smallest first.
void GiveBack(std::vector<Candidate>& candidates, std::int64_t surplus) {
    std::ranges::sort(candidates, {}, &Candidate::Gain);
    for (Candidate& candidate : candidates) {
        if (candidate.Gain() > surplus)
            return;
        surplus -= candidate.Gain();
        candidate.bytes = candidate.bytesNow;
    }
}

Result<std::vector<Lowered>> Plan(Need need) {
    const std::int64_t wanted = need.bytes;
    while (need.bytes > 0) {
        Candidate* candidate = Mildest(need.candidates);
        if (candidate == nullptr)
            return Fail(ErrorKind::Refused,
                        Phrase("NO_ROOM_TO_MAKE",
                               "no room can be made: pictures whose photographs are here as they were could "
                               "give {0} of the {1} bytes that lack",
                               wanted - need.bytes, wanted));
        if (store::StopRequested())
            return Fail(ErrorKind::Refused, kStopped);
        const int before = candidate->bytes;
        LowerOnce(*candidate);
        need.bytes -= before - candidate->bytes;
    }
    GiveBack(need.candidates, -need.bytes);
    std::vector<Lowered> plan;
    for (Candidate& candidate : need.candidates) {
        if (candidate.Gain() > 0)
            plan.push_back({candidate.position, candidate.name, candidate.origin.quality, candidate.quality,
                            candidate.bytes, candidate.name, std::move(candidate.origin)});
    }
    std::ranges::sort(plan, {}, &Lowered::position);
    return plan;
}

}  // namespace

Result<std::vector<Lowered>> PlanRoom(ByteSpan pixels, int replaces) {
    const store::StoreState& store = store::Store();
    // A frame with a limit has its own way to come down with the quality.
    if (store.G_TotalPicNum != 0 || !store.geometry.whyReadOnly.empty() ||
        (replaces == 0 && store.gmyTotalePictureNum >= store.geometry.mostPictures))
        return std::vector<Lowered>();
    PixelEncoder encoder(pixels);
    const auto stream = encoder.At(Pictures().G_CurQuanlity);
    Need need = stream ? NeedOf(stream->size(), replaces) : Need();
    return need.bytes > 0 ? Plan(std::move(need)) : std::vector<Lowered>();
}

Result<std::vector<Lowered>> PlanRoomFor(const Path& file, const Pose& pose) {
    LUMATO_TRY(const auto pixels, PixelsMadeAnew({file, pose}));
    return PlanRoom(pixels);
}

Result<void> LowerPictures(std::vector<Lowered>& plan) {
    for (auto lowered = plan.begin(); lowered != plan.end(); ++lowered) {
        const int position = store::PositionOf(store::Store().gmyPictureData.get(), lowered->before);
        const auto pixels = PixelsMadeAnew(lowered->origin);
        Result<AddedPicture> done = AddComposed(pixels, true, {position, lowered->to});
        if (!done) {
            plan.erase(lowered, plan.end());
            return tl::unexpected(std::move(done).error());
        }
        RememberSource(*done, lowered->origin.source, lowered->origin.pose);
        lowered->name = done->name;
        lowered->bytes = done->bytes;
    }
    return {};
}

Phrase TextOf(const std::vector<Lowered>& lowered) {
    std::map<std::pair<int, int>, int, std::greater<>> counts;
    for (const Lowered& one : lowered)
        ++counts[{one.from, one.to}];
    Phrase text;
    for (const auto& [qualities, count] : counts) {
        const Words words = !text.empty() ? Words{"LOWERED_MORE", "{0} from quality {1} to {2}"}
                            : count == 1  ? Words{"LOWERED_ONE", "{0} picture from quality {1} to {2}"}
                                          : Words{"LOWERED_MANY", "{0} pictures from quality {1} to {2}"};
        text = Joined(std::move(text), kComma, Phrase(words, count, qualities.first, qualities.second));
    }
    return text;
}

}  // namespace lumato::picture
