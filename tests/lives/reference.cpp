#include "tests/lives/reference.h"

#include <algorithm>

#include "base/bytes.h"
#include "store/journal_folder.h"

namespace lumato::lives {
namespace {

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

void TakeSome(Pictures& pictures, const Pictures& some) {
    for (const Bytes& picture : some)
        TakeAll(pictures, {picture});
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

bool Reference::Explains(const Pictures& seen) const {
    Pictures due = stored;
    Append(due, waiting);
    Pictures surplus = seen;
    if (!TakeAll(surplus, due))
        return false;
    if (!broken)
        return std::ranges::mismatch(due, seen).in1 == due.end() &&
               std::ranges::all_of(surplus, [&](const Bytes& picture) {
                   return std::ranges::find(perhaps, picture) != perhaps.end();
               });
    Append(due, surplus);
    TakeSome(surplus, perhaps);
    TakeSome(surplus, deleted);
    return surplus.empty() && (anyOrder || !deleted.empty() || IsShuffled(seen, due));
}

void Reference::TakeOver(const Pictures& seen, std::size_t inFrame) {
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
