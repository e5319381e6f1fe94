#include "tests/lives/reference.h"

#include <algorithm>

#include "base/bytes.h"
#include "store/journal_folder.h"

namespace lumato::lives {
namespace {

bool StartsWith(const Pictures& pictures, const Pictures& first) {
    return std::ranges::mismatch(first, pictures).in1 == first.end();
}

// How many of `pictures`, from `begin` on, stand in `order` one after the other.
std::size_t Follow(const Pictures& pictures, std::size_t begin, const Pictures& order) {
    std::size_t at = begin;
    for (const Bytes& picture : order) {
        if (at < pictures.size() && pictures[at] == picture)
            ++at;
    }
    return at - begin;
}

// Whether `pictures` are those of `order` that are stored, in its order, and then those that wait.
bool IsShuffled(const Pictures& pictures, const Pictures& order) {
    for (std::size_t split = 0; split <= Follow(pictures, 0, order); ++split) {
        if (split + Follow(pictures, split, order) == pictures.size())
            return true;
    }
    return false;
}

}  // namespace

bool TakeAll(Pictures& pictures, const Pictures& wanted) {
    return std::ranges::all_of(wanted, [&](const Bytes& picture) {
        const auto found = std::ranges::find(pictures, picture);
        if (found == pictures.end())
            return false;
        pictures.erase(found);
        return true;
    });
}

void TakeSome(Pictures& pictures, const Pictures& wanted) {
    for (const Bytes& picture : wanted)
        TakeAll(pictures, {picture});
}

bool Has(const Pictures& pictures, const Bytes& picture) {
    return std::ranges::find(pictures, picture) != pictures.end();
}

void Append(Pictures& pictures, const Pictures& more) {
    pictures.insert(pictures.end(), more.begin(), more.end());
}

Pictures OnFlash(const Bytes& flash) {
    Pictures found;
    const ByteSpan table = ByteSpan(flash).subspan(kTable, 4096);
    if (!std::equal(table.begin(), table.begin() + 4, "ABFS") || table[4094] != 0x55 || table[4095] != 0xAA)
        return found;
    for (std::size_t at = 16; at < 16 + 509 * 8; at += 8) {
        const ByteSpan slot = table.subspan(at, 8);
        const auto address = static_cast<std::size_t>(GetLe24(slot.subspan(1)));
        const auto length = static_cast<std::size_t>(GetLe24(slot.subspan(5)));
        if (slot[0] == 1 && address + length <= flash.size())
            found.emplace_back(flash.begin() + static_cast<std::ptrdiff_t>(address),
                               flash.begin() + static_cast<std::ptrdiff_t>(address + length));
    }
    return found;
}

Pictures InJournals(const Path& stateFolder) {
    Pictures found;
    const auto places = store::JournalPlaces(stateFolder);
    for (const store::JournalPlace& place : places.value()) {
        const auto journal = store::ReadJournal(place.folder);
        for (const store::JournalPicture& picture :
             journal ? journal->pictures : std::vector<store::JournalPicture>()) {
            if (auto stream = store::ReadStream(place.folder, picture))
                found.push_back(std::move(*stream));
        }
    }
    return found;
}

Pictures Reference::Due() const {
    Pictures due = stored;
    Append(due, waiting);
    TakeSome(due, offered);
    return due;
}

bool Reference::Explains(const Pictures& seen, const Pictures& foreign) const {
    if (unknown)
        return true;
    Pictures surplus = seen;
    Pictures due = Due();
    if (!TakeAll(surplus, due))
        return false;
    Pictures strangers = surplus;
    TakeSome(strangers, offered);
    std::erase_if(strangers, [&](const Bytes& picture) { return Has(foreign, picture); });
    const bool anyForeign = strangers.size() < surplus.size();
    std::erase_if(strangers, [&](const Bytes& picture) { return Has(perhaps, picture); });
    if (!broken)
        return strangers.empty() && StartsWith(seen, stored) &&
               (anyForeign || !offered.empty() || StartsWith(seen, due));
    TakeSome(strangers, deleted);
    Append(due, surplus);
    return strangers.empty() &&
           (anyForeign || !offered.empty() || anyOrder || !deleted.empty() || IsShuffled(seen, due));
}

void Reference::TakeOver(const Pictures& seen, std::size_t inFrame, const Pictures& foreign) {
    Pictures surplus = seen;
    TakeSome(surplus, Due());
    std::erase_if(surplus,
                  [&](const Bytes& picture) { return !Has(foreign, picture) && !Has(offered, picture); });
    offered = surplus;
    const auto split = seen.begin() + static_cast<std::ptrdiff_t>(inFrame);
    waiting.assign(split, seen.end());
    if (broken)
        stored.assign(seen.begin(), split);
    else
        deleted.clear();
    perhaps.clear();
}

void Reference::Forget(const Pictures& seen, std::size_t index, std::size_t inFrame) {
    if (broken)
        TakeAll(index < stored.size() ? stored : waiting, {seen[index]});
    else if (index >= inFrame)
        waiting.erase(waiting.begin() + static_cast<std::ptrdiff_t>(index - inFrame));
    if (broken || index < inFrame)
        deleted.push_back(seen[index]);
    if (broken)
        onlyOnFrame.push_back(seen[index]);
    TakeAll(offered, {seen[index]});
}

void Reference::AfterDownload(const Pictures& onFlash) {
    *this = {};
    stored = onFlash;
}

void Reference::AfterFailedDownload(const Pictures& seen, std::size_t inFrame, bool frameChanged) {
    if (!broken) {
        onlyOnFrame.insert(onlyOnFrame.end(), seen.begin(),
                           seen.begin() + static_cast<std::ptrdiff_t>(inFrame));
        Append(onlyOnFrame, deleted);
    }
    stored = seen;
    waiting.clear();
    anyOrder = broken;
    broken = true;
    if (frameChanged)
        offered.clear();
}

Pictures Reference::Kept() const {
    Pictures kept = broken ? Due() : waiting;
    TakeSome(kept, broken ? onlyOnFrame : offered);
    return kept;
}

Pictures Reference::MayBeOffered() const {
    Pictures all = broken ? stored : Pictures();
    Append(all, waiting);
    Append(all, offered);
    Append(all, deleted);
    Append(all, perhaps);
    return all;
}

Pictures World::Foreign(std::size_t frame, std::size_t home) const {
    const auto model = static_cast<std::size_t>(frames[frame].model);
    Pictures foreign = homes[home].mayBeOffered[model];
    for (const Frame& other : frames) {
        if (&other != &frames[frame] && other.model == frames[frame].model)
            Append(foreign, other.on[home].MayBeOffered());
    }
    return foreign;
}

Reference World::Unknown(const Bytes& flash) const {
    Reference reference;
    reference.stored = OnFlash(flash);
    reference.unknown = !std::ranges::all_of(
        reference.stored, [&](const Bytes& picture) { return Has(everyPicture, picture); });
    return reference;
}

Pictures World::OnFrames() const {
    Pictures all;
    for (const Frame& frame : frames)
        Append(all, OnFlash(frame.flash));
    return all;
}

void World::AfterChange(std::size_t frame, std::size_t home) {
    const auto model = static_cast<std::size_t>(frames[frame].model);
    for (std::size_t other = 0; other < kHomes; ++other) {
        if (other == home)
            continue;
        Reference& reference = frames[frame].on[other];
        Append(homes[other].kept, reference.Kept());
        Append(homes[other].mayBeOffered[model], reference.MayBeOffered());
        if (reference.broken) {
            Pictures safe = OnFrames();
            Append(safe, InJournals(homes[other].StateFolder()));
            overwritten += static_cast<int>(
                std::ranges::count_if(reference.onlyOnFrame, [&](const Bytes& p) { return !Has(safe, p); }));
        }
        const Pictures onlyOnFrame = reference.onlyOnFrame;
        reference = Unknown(frames[frame].flash);
        reference.onlyOnFrame = onlyOnFrame;
    }
}

void World::AfterDownload(std::size_t frame, std::size_t home, const Pictures& onFlash) {
    frames[frame].on[home].AfterDownload(onFlash);
    for (Frame& twin : frames) {
        Reference& reference = twin.on[home];
        Pictures there = onFlash;
        if (&twin != &frames[frame] && twin.model == frames[frame].model && !reference.broken &&
            TakeAll(there, reference.waiting))
            reference.offered = reference.waiting;
    }
    std::erase_if(homes[home].kept, [&](const Bytes& picture) { return Has(onFlash, picture); });
}

void World::Clone(std::size_t frame, const Path& image, const Bytes& flash) {
    Frame clone = frames[frame];
    clone.image = image;
    clone.flash = flash;
    for (Reference& reference : clone.on) {
        const Pictures onlyOnFrame =
            reference.onlyOnFrame;  // a journal that fits the clone, too, is without them
        reference = Unknown(flash);
        reference.onlyOnFrame = onlyOnFrame;
    }
    frames.push_back(clone);
}

void World::Deleted(const Bytes& picture) {
    for (Home& home : homes)
        std::erase(home.kept, picture);
}

std::size_t World::Lost() const {
    std::size_t lost = 0;
    const Pictures onFrames = OnFrames();
    for (std::size_t home = 0; home < kHomes; ++home) {
        Pictures kept = homes[home].kept;
        for (const Frame& frame : frames)
            Append(kept, frame.on[home].Kept());
        Pictures safe = InJournals(homes[home].StateFolder());
        Append(safe, onFrames);
        lost += static_cast<std::size_t>(
            std::ranges::count_if(kept, [&](const Bytes& picture) { return !Has(safe, picture); }));
    }
    return lost;
}

}  // namespace lumato::lives
