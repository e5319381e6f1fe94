#include "store/frame_journals.h"

#include <algorithm>
#include <tuple>

#include "store/journal_folder.h"
#include "store/picture_table.h"

namespace lumato::store {
namespace {

// A journal for a frame without a valid table.
struct Match {
    const FrameJournal* journal = nullptr;
    Findings findings;

    // What is found on the frame says more than who it is: a file's number is given to the next file.
    [[nodiscard]] auto Rank() const {
        return std::tuple(findings.some, IndividualOf(journal->journal), findings.all,
                          journal->journal.counter);
    }
};

// The digests of all listed pictures, sorted.
std::vector<Digest> ListedHashes() {
    std::vector<Digest> hashes;
    for (const FileData& record : EachOf(Store().gmyPictureData))
        hashes.push_back(record.streamHash.value_or(Digest{}));
    std::ranges::sort(hashes);
    return hashes;
}

bool AllAreIn(const std::vector<Digest>& listed, const Journal& journal) {
    std::vector<Digest> wanted;
    for (const JournalPicture& picture : journal.pictures)
        wanted.push_back(picture.hash);
    std::ranges::sort(wanted);
    return std::ranges::includes(listed, wanted);
}

// Whether a frame that holds these pictures, and tableOnFrame in place of `before`, proves the journal done.
// Nobody needs one of additions to rebuild a frame; one of a download has the blocks that its frame lacks.
bool IsFinished(const Journal& journal, const std::vector<Digest>& listed, ByteSpan before) {
    const bool additions = journal.phase == Journal::Phase::Additions;
    return IndividualOf(journal) != Individual::Another && AllAreIn(listed, journal) &&
           (additions ? std::ranges::equal(journal.tableBefore, before)
                      : journal.tableAfter == Store().tableOnFrame);
}

}  // namespace

Result<Phrase> FrameJournals::Load() {
    Phrase damage;
    m_journals.clear();
    LUMATO_TRY(const std::vector<Path> folders, JournalFoldersOfFrame());
    for (const Path& folder : folders) {
        Result<Journal> journal = LoadJournal(folder);
        if (journal)
            m_journals.push_back({folder, std::move(*journal)});
        else if (journal.error().kind == ErrorKind::Damaged)
            damage = journal.error().message;
        else if (journal.error().kind == ErrorKind::NotFound)
            DropJournal(folder);  // a program was killed before it kept the first picture, or after the last
        else if (journal.error().kind != ErrorKind::Unsupported)
            return tl::unexpected(journal.error());
    }
    LUMATO_TRY(const std::vector<JournalPlace> places, JournalPlaces(Store().statePath));
    for (const JournalPlace& place : places) {
        const Result<Journal> journal = ReadJournal(place.folder);
        m_unknown += !journal && journal.error().kind == ErrorKind::Unsupported ? 1 : 0;
    }
    Release();
    return damage;
}

Result<void> FrameJournals::LookAt() {
    m_journals.clear();
    LUMATO_TRY(const std::vector<Path> folders, JournalFoldersOfFrame());
    for (const Path& folder : folders) {
        Result<Journal> journal = ReadJournal(folder);
        if (journal && journal->frame == Store().frameIdentity)
            m_journals.push_back({folder, std::move(*journal)});
    }
    return {};
}

std::vector<const FrameJournal*> FrameJournals::NamingTable() const {
    std::vector<const FrameJournal*> naming;
    for (const FrameJournal& found : m_journals) {
        if (NamesTable(found.journal))
            naming.push_back(&found);
    }
    const auto rank = [](const FrameJournal* found) {
        return std::pair(IndividualOf(found->journal), found->journal.counter);
    };
    std::ranges::sort(naming, std::ranges::greater(), rank);
    return naming;
}

Result<ContentMatch> FrameJournals::MatchingContents() const {
    FrameSearch frame;
    std::vector<Match> matches;
    for (const FrameJournal& found : m_journals) {
        Match match{&found, {}};
        match.findings.contradiction = !NamesTable(found.journal);
        if (found.journal.phase == Journal::Phase::Download) {
            LUMATO_TRY(match.findings, frame.Search(found.journal, m_journals.size() > 1));
        }
        const bool anothers = IndividualOf(found.journal) == Individual::Another && !match.findings.some;
        if (!match.findings.contradiction && !anothers)
            matches.push_back(match);
    }
    const auto best = std::ranges::max_element(matches, {}, &Match::Rank);
    return best == matches.end() ? ContentMatch() : ContentMatch{best->journal, best->findings.some};
}

void FrameJournals::Claim(const FrameJournal& found, bool evident) {
    StoreState& store = Store();
    m_claimed = &found;
    const Individual individual = IndividualOf(found.journal);
    const bool own = individual == Individual::Same || (individual == Individual::Unknown && evident);
    store.journal = std::make_shared<Journal>(found.journal);
    store.journalFolder = own ? found.folder : FreshJournalFolder();
    store.lenderFolder = own ? Path() : found.folder;
}

void FrameJournals::Release() {
    StoreState& store = Store();
    m_claimed = nullptr;
    store.journal.reset();
    store.journalFolder = FreshJournalFolder();
    store.lenderFolder.clear();
}

void FrameJournals::DropClaimed() {
    if (Store().lenderFolder.empty())
        DropJournal(Store().journalFolder);
}

Phrase FrameJournals::KeptText() const {
    const bool table = IsTable(Store().tableOnFrame);
    const auto doubtful = [&](const FrameJournal& found) {
        return &found != m_claimed &&
               (table ? !NamesTable(found.journal) && IndividualOf(found.journal) != Individual::Another
                      : true);
    };
    auto kept = std::ranges::count_if(m_journals, doubtful);
    if (!table && m_claimed == nullptr)
        kept += m_unknown;
    if (kept == 0)
        return {};
    return kept == 1 ? Phrase("KEPT_JOURNAL_ONE",
                              "1 recovery journal that does not fit this frame is kept; "
                              "`lumatoctl recover` lists them")
                     : Phrase("KEPT_JOURNAL_MANY",
                              "{0} recovery journals that do not fit this frame are kept; "
                              "`lumatoctl recover` lists them",
                              kept);
}

void DropFinishedJournals(ByteSpan before) {
    DropJournal(Store().journalFolder);
    const std::vector<Digest> listed = ListedHashes();
    for (const Path& folder : JournalFoldersOfFrame().value_or(std::vector<Path>())) {
        if (const Result<Journal> journal = ReadJournal(folder);
            journal && IsFinished(*journal, listed, before))
            DropJournal(folder);
    }
}

}  // namespace lumato::store
