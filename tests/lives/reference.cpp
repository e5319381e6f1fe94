#include "tests/lives/reference.h"

#include <algorithm>

#include "base/bytes.h"

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

Pictures OnFlash(const Bytes& flash) {
    Pictures found;
    for (std::size_t at = kTable + 16; at < kTable + 16 + 509 * 8; at += 8) {
        const ByteSpan slot = ByteSpan(flash).subspan(at, 8);
        const auto address = static_cast<std::size_t>(GetLe24(slot.subspan(1)));
        const auto length = static_cast<std::size_t>(GetLe24(slot.subspan(5)));
        if (slot[0] == 1 && address + length <= flash.size())
            found.emplace_back(flash.begin() + static_cast<std::ptrdiff_t>(address),
                               flash.begin() + static_cast<std::ptrdiff_t>(address + length));
    }
    return found;
}

bool Reference::Explains(const Pictures& seen) const {
    Pictures due = stored;
    due.insert(due.end(), waiting.begin(), waiting.end());
    if (!broken)
        return seen.size() <= due.size() + perhaps && StartsWith(seen, due);
    Pictures surplus = seen;
    if (!TakeAll(surplus, due))
        return false;
    if (deleted.empty())
        due.insert(due.end(), surplus.begin(), surplus.end());
    for (const Bytes& picture : deleted)
        TakeAll(surplus, {picture});
    return surplus.size() <= perhaps && (anyOrder || !deleted.empty() || IsShuffled(seen, due));
}

void Reference::TakeOver(const Pictures& seen, std::size_t inFrame) {
    const auto split = seen.begin() + static_cast<std::ptrdiff_t>(inFrame);
    waiting.assign(split, seen.end());
    if (broken)
        stored.assign(seen.begin(), split);
    else
        deleted.clear();
    perhaps = 0;
}

void Reference::Forget(const Pictures& seen, std::size_t index, std::size_t inFrame) {
    if (broken)
        TakeAll(index < stored.size() ? stored : waiting, {seen[index]});
    else if (index >= inFrame)
        waiting.erase(waiting.begin() + static_cast<std::ptrdiff_t>(index - inFrame));
    if (broken || index < inFrame)
        deleted.push_back(seen[index]);
}

void Reference::AfterDownload(const Pictures& onFlash) {
    *this = {};
    stored = onFlash;
}

void Reference::AfterFailedDownload(const Pictures& seen) {
    stored = seen;
    waiting.clear();
    anyOrder = broken;
    broken = true;
}

}  // namespace lumato::lives
