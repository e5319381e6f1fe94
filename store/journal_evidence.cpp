#include "store/journal_evidence.h"

#include <algorithm>

#include "store/picture_table.h"
#include "store/read_back.h"

namespace lumato::store {
namespace {

using Bytes = std::vector<std::uint8_t>;

bool LiesOnFrame(std::int64_t address, std::int64_t length) {
    return length > 0 && Store().geometry.HoldsPicture(address, length);
}

bool IsUniform(ByteSpan bytes) {
    return std::ranges::all_of(bytes, [&](std::uint8_t byte) { return byte == bytes.front(); });
}

}  // namespace

Individual IndividualOf(const Journal& journal) {
    const std::string& here = Store().frameIndividual;
    if (here.empty() || journal.individual.empty())
        return Individual::Unknown;
    return here == journal.individual ? Individual::Same : Individual::Another;
}

bool NamesTable(const Journal& journal) {
    return Store().tableOnFrame == journal.tableBefore || Store().tableOnFrame == journal.tableAfter;
}

bool IsOutOfReach(const Journal& journal, const JournalPicture& picture) {
    const std::int64_t end = std::int64_t{picture.address} + picture.length;
    return picture.address != 0 && !journal.fromScratch &&
           std::ranges::none_of(journal.blocks, [&](const auto& block) {
               return block.first < end &&
                      picture.address <
                          std::int64_t{block.first} + static_cast<std::int64_t>(block.second.size());
           });
}

Result<bool> FrameSearch::Holds(std::int32_t address, std::int32_t length, const Digest& hash) {
    if (!LiesOnFrame(address, length))
        return false;
    auto found = m_found.find({address, length});
    if (found == m_found.end()) {
        LUMATO_TRY_VOID(MayReadOn());
        LUMATO_TRY(const Bytes bytes, ReadPictureBytes(address, length));
        found = m_found.emplace(std::pair(address, length), Sha256(bytes)).first;
    }
    return found->second == hash;
}

// At a place that the download was to give to one of the pictures.
Result<bool> FrameSearch::HoldsPlanned(const Journal& journal) {
    std::array<std::uint8_t, kTableSize> table = journal.tableAfter;
    for (int slot = 1; slot <= kMostPictures; ++slot) {
        const ByteSpan bytes = SlotOf(table, slot);
        for (const JournalPicture& picture : journal.pictures) {
            if (bytes[0] != kSlotStored || picture.length != SlotLength(bytes))
                continue;
            LUMATO_TRY(const bool holds, Holds(SlotAddress(bytes), picture.length, picture.hash));
            if (holds)
                return true;
        }
    }
    return false;
}

// One as it was before the download, behind the table. Erased ones look alike on all frames.
Result<bool> FrameSearch::HoldsBlock(const Journal& journal) {
    for (const auto& [base, block] : journal.blocks) {
        const std::int32_t skipped = base == Store().geometry.tableAddress ? kTableSize : 0;
        const ByteSpan was = ByteSpan(block).subspan(static_cast<std::size_t>(skipped));
        if (was.empty() || IsUniform(was))
            continue;
        LUMATO_TRY(const bool holds,
                   Holds(base + skipped, static_cast<std::int32_t>(was.size()), Sha256(was)));
        if (holds)
            return true;
    }
    return false;
}

Result<Findings> FrameSearch::Search(const Journal& journal, bool thorough) {
    Findings findings;
    std::size_t outOfReach = 0;
    std::size_t found = 0;
    // Those out of reach first: they decide.
    for (const bool safe : {true, false}) {
        for (const JournalPicture& picture : journal.pictures) {
            if (picture.address == 0 || IsOutOfReach(journal, picture) != safe)
                continue;
            outOfReach += safe ? 1 : 0;
            if (findings.some && !thorough)
                continue;
            LUMATO_TRY(const bool holds, Holds(picture.address, picture.length, picture.hash));
            findings.some |= holds;
            found += safe && holds ? 1 : 0;
        }
    }
    findings.all = found == outOfReach;
    findings.contradiction = outOfReach > 0 && found == 0;
    if (!findings.some) {
        LUMATO_TRY(findings.some, HoldsPlanned(journal));
    }
    if (!findings.some) {
        LUMATO_TRY(findings.some, HoldsBlock(journal));
    }
    return findings;
}

}  // namespace lumato::store
