#include "store/kept_journals.h"

#include <algorithm>
#include <system_error>

#include "base/printable.h"
#include "store/journal_folder.h"
#include "store/messages.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t kMostPictureBytes = 0xFFFFFF;  // that a table's slot can state
constexpr const char* kAsideEnding = ".forgotten";

// "480 x 234, 4096 KB, my.frame"
std::string FrameInWords(const Journal& journal) {
    std::string words = std::to_string(journal.lcdWidth) + " x " + std::to_string(journal.lcdHeight) + ", " +
                        std::to_string(journal.flashSize / 1024) + " KB";
    for (const std::string& more : {journal.name, journal.individual}) {
        if (!more.empty())
            words += ", " + more;
    }
    return words;
}

// The streams of a folder whose journal says nothing; of their bytes only the hash is known, from the name.
std::vector<Bytes> WholeStreams(const Path& folder) {
    std::vector<Path> files;
    std::error_code ignored;
    for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        if (entry->path().extension() == ".stream")
            files.push_back(entry->path());
    }
    std::ranges::sort(files);
    std::vector<Bytes> streams;
    for (const Path& file : files) {
        auto stream = ReadPlainFile(file);
        if (stream && HexText(Sha256(*stream)) == file.stem().string())
            streams.push_back(std::move(*stream));
    }
    return streams;
}

// A picture's stream, from its copy or, when it lies within saved blocks, from them.
Result<Bytes> StreamIn(const KeptJournal& kept, const Journal& journal, const JournalPicture& picture) {
    Result<Bytes> stream = ReadStream(kept.folder, picture);
    if (stream || stream.error().kind != ErrorKind::NotFound || journal.blocks.empty() ||
        picture.length > kMostPictureBytes)
        return stream;
    Bytes restored(static_cast<std::size_t>(picture.length));
    PutBlocksBack(journal.blocks, picture.address, restored);
    return Sha256(restored) == picture.hash ? restored : stream;
}

// The pictures by their numbers in the list; those of which nothing is kept are counted.
struct Contents {
    std::vector<std::pair<int, Bytes>> streams;
    GivenOut report;
};

Contents ContentsOf(const KeptJournal& kept) {
    Contents contents;
    const Result<Journal> journal = ReadJournal(kept.folder);
    int number = 0;
    if (!journal) {
        for (Bytes& stream : WholeStreams(kept.folder))
            contents.streams.emplace_back(++number, std::move(stream));
        return contents;
    }
    for (const JournalPicture& picture : journal->pictures) {
        ++number;
        Result<Bytes> stream = StreamIn(kept, *journal, picture);
        if (stream)
            contents.streams.emplace_back(number, std::move(*stream));
        else if (stream.error().kind == ErrorKind::NotFound && picture.address != 0)
            ++contents.report.onFrame;
        else
            contents.report.failed.push_back(stream.error());
    }
    return contents;
}

Path FileIn(const Path& folder, int number, const char* ending) {
    return folder / (std::to_string(number) + ending);
}

}  // namespace

Result<std::vector<KeptJournal>> KeptJournals(const Path& statePath) {
    std::vector<KeptJournal> all;
    LUMATO_TRY(const std::vector<JournalPlace> places, JournalPlaces(statePath));
    for (const JournalPlace& place : places) {
        KeptJournal kept;
        kept.number = place.number;
        kept.folder = place.folder;
        const Result<Journal> journal = ReadJournal(place.folder);
        if (journal) {
            kept.kind = journal->phase == Journal::Phase::Additions ? "additions" : "download";
            kept.frame = FrameInWords(*journal);
            kept.time = journal->time;
            kept.pictures = static_cast<int>(journal->pictures.size());
        } else {
            kept.kind = journal.error().kind == ErrorKind::Unsupported ? "unknown" : "damaged";
            kept.pictures = static_cast<int>(WholeStreams(place.folder).size());
        }
        if (kept.folder.extension() == kAsideEnding)
            kept.kind = "forgotten";
        // A folder of a picture that was put aside, without a journal, is no journal.
        if (journal || journal.error().kind != ErrorKind::NotFound || kept.pictures > 0)
            all.push_back(std::move(kept));
    }
    return all;
}

bool LiesAmongJournals(const Path& folder, const Path& statePath) {
    std::error_code ignored;
    const std::string inner = fs::weakly_canonical(folder, ignored).string() + "/";
    return inner.starts_with(fs::weakly_canonical(statePath / "recovery", ignored).string() + "/");
}

Result<GivenOut> GiveOut(const KeptJournal& journal, const Path& folder, CodecPort& codec) {
    if (LiesAmongJournals(folder, journal.folder.parent_path().parent_path()))
        return Fail(ErrorKind::Unwritable, About(Printable(folder.string()),
                                                 Phrase("JOURNALS_LIE_THERE",
                                                        "the journals lie there; nothing was saved, choose "
                                                        "another folder")));
    Contents contents = ContentsOf(journal);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error)
        return Fail(ErrorKind::Unwritable, About(Printable(folder.string()), error.message()));
    for (const auto& [number, stream] : contents.streams) {
        for (const char* ending : {".stream", ".bmp"}) {
            const Path file = FileIn(folder, number, ending);
            if (fs::symlink_status(file, error).type() != fs::file_type::not_found)
                return Fail(ErrorKind::Unwritable, About(Printable(file.string()),
                                                         Phrase("IS_THERE_NOTHING_SAVED",
                                                                "is there already; nothing was saved, choose "
                                                                "another folder")));
        }
    }
    for (const auto& [number, stream] : contents.streams) {
        const auto written = WriteFile(FileIn(folder, number, ".stream"), stream);
        if (!written)
            contents.report.failed.push_back(written.error());
        // Of any size: what is shown belongs to nobody's frame any more.
        else if (!codec.DeCodeStream(stream, FileIn(folder, number, ".bmp"), 0, 0))
            contents.report.failed.push_back(codec.LastError());
        else
            ++contents.report.saved;
    }
    return std::move(contents.report);
}

Result<void> SetAside(const KeptJournal& journal) {
    std::error_code error;
    if (journal.folder.extension() == kAsideEnding)
        return {};
    const Path aside = journal.folder.string() + kAsideEnding;
    if (fs::symlink_status(aside, error).type() != fs::file_type::not_found)
        return Fail(ErrorKind::Unwritable, About(Printable(aside.string()), "is there already"));
    fs::rename(journal.folder, aside, error);
    if (error)
        return Fail(ErrorKind::Unwritable, About(Printable(journal.folder.string()), error.message()));
    return {};
}

}  // namespace lumato::store
