// The input is a list of patches (address, length, bytes) to the journal of a download that broke off. The
// sum over it is made right again, so that the fuzzer gets behind it; then its frame is plugged in.
#include "base/sha256.h"
#include "fuzz/input.h"
#include "fuzz/sound_frame.h"
#include "fuzz/store_program.h"
#include "fuzz/targets.h"
#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "store/journal.h"
#include "store/picture_table.h"
#include "tests/support/temporary_folder.h"

namespace lumato::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr int kListed = 4;  // three pictures of the frame, and the one that was to be added

// The first byte of an input.
enum Flag : std::uint8_t {
    kWrongSum = 1,
    kTableStands = 2,  // the frame is as it was before the download
    kCutShort = 4,     // by as many bytes as the second byte says
};

// A frame that lost its table in a download, and what the program has kept of it.
struct BrokenFrame {
    Bytes flash;
    Path folder;  // of the journal, below the home folder
    Bytes journal;
    std::vector<std::pair<Path, Bytes>> streams;  // names and bytes
};

bool TableStands(ByteSpan flash) {
    return store::IsTable(flash.subspan(kTable, store::kTableSize));
}

void PutSource(const Path& file) {
    const Bytes grey(picture::BitmapStride(kLcdWidth) * kLcdHeight, 0x80);
    Demand(picture::SaveBmpFile(grey, kLcdWidth, kLcdHeight, file).has_value(), "a bitmap is written");
}

// The flash after a download of one more picture in which the frame vanishes at a command.
Bytes BreakOff(const Path& home, std::uint64_t command) {
    fs::remove_all(home / "state");
    StoreProgram program(home, home / "state");
    platform::BusService& service =
        program.Bus().Plug(vframe::FlashImage::InMemory(SoundFlash()),
                           {.faults = {{command, vframe::FaultKind::Unplug}}, .pace = 0});
    program.Settle();
    if (IsOnline()) {
        picture::AddPictures({home / "source.bmp"}, {}, picture::AfterRefusal::GoOn);
        DownloadNow(program.Bus());
    }
    return program.Bus().Frame(service).FlashBytes();
}

BrokenFrame MakeBrokenFrame(const Path& home) {
    PutSource(home / "source.bmp");
    BrokenFrame made;
    for (std::uint64_t command = 1; made.flash.empty() || TableStands(made.flash); ++command) {
        Demand(command < 200, "a download without its end leaves a frame without a table");
        made.flash = BreakOff(home, command);
    }
    made.folder = fs::directory_iterator(home / "state/recovery")->path();
    for (const fs::directory_entry& entry : fs::directory_iterator(made.folder)) {
        const Bytes bytes = ReadFile(entry.path()).value();
        if (entry.path().filename() == "journal")
            made.journal = bytes;
        else
            made.streams.emplace_back(entry.path().filename(), bytes);
    }
    Demand(!made.journal.empty() && made.streams.size() == kListed, "the journal has all pictures");
    return made;
}

Bytes JournalOf(Input& input, std::uint8_t flags, const Bytes& base) {
    Bytes journal = base;
    if ((flags & kCutShort) != 0)
        journal.resize(journal.size() - input.Byte());
    while (!input.Empty()) {
        const std::uint32_t address = input.Number24() % static_cast<std::uint32_t>(journal.size());
        const ByteSpan patch = input.Take(input.Byte());
        std::copy_n(patch.begin(), std::min<std::size_t>(patch.size(), journal.size() - address),
                    journal.begin() + address);
    }
    if ((flags & kWrongSum) == 0)
        std::ranges::copy(Sha256(ByteSpan(journal).first(journal.size() - sizeof(Digest))),
                          journal.end() - static_cast<std::ptrdiff_t>(sizeof(Digest)));
    return journal;
}

void PutJournal(const BrokenFrame& frame, const Bytes& journal) {
    fs::remove_all(frame.folder.parent_path());
    fs::create_directories(frame.folder);
    Demand(WriteFile(frame.folder / "journal", journal).has_value(), "a journal is written");
    for (const auto& [name, bytes] : frame.streams)
        Demand(WriteFile(frame.folder / name, bytes).has_value(), "a stream is written");
}

void ExpectPutAside(const BrokenFrame& frame, const Bytes& journal) {
    const Path aside = frame.folder.string() + ".damaged";
    Demand(ReadFile(aside / "journal").value_or(Bytes()) == journal, "a damaged journal is put aside");
    for (const auto& [name, bytes] : frame.streams)
        Demand(ReadFile(aside / name).value_or(Bytes()) == bytes, "with its pictures");
}

}  // namespace

void RunJournal(ByteSpan bytes) {
    static const test::TemporaryFolder home;
    static const BrokenFrame broken = MakeBrokenFrame(home.Get());
    Input input(bytes);
    const std::uint8_t flags = input.Byte();
    const Bytes journal = JournalOf(input, flags, broken.journal);
    const auto decoded = store::DecodeJournal(journal);
    Demand(!decoded || store::EncodeJournal(*decoded) == journal, "a journal says all that its bytes say");
    PutJournal(broken, journal);

    const Bytes flash = (flags & kTableStands) != 0 ? SoundFlash() : broken.flash;
    StoreProgram program(home.Get(), home.Get() / "state");
    platform::BusService& service = program.Bus().Plug(vframe::FlashImage::InMemory(flash));
    program.Settle();
    vframe::VirtualFrame& frame = program.Bus().Frame(service);
    Demand(frame.FlashBytes() == flash, "connecting changes no byte");
    if (!decoded)
        ExpectPutAside(broken, journal);
    if (journal == broken.journal)
        Demand(store::Store().gmyTotalePictureNum == kListed, "a whole journal brings all pictures back");
    if (IsOnline())
        DownloadNow(program.Bus());
    Demand(std::equal(flash.begin(), flash.begin() + kTable, frame.FlashBytes().begin()),
           "firmware is never written");
}

std::vector<Bytes> JournalSeeds() {
    return {
        {0},
        {kTableStands},
        {kWrongSum, 0, 0, 9, 1, 1},
        {kCutShort, 200},
        {0, 0, 0, 8, 1, 1},                               // additions only
        {0, 0, 0, 9, 1, 1},                               // from scratch
        {0, 0, 0, 10, 1, 1},                              // what must be 0
        {0, 0, 0, 44, 4, 0, 0, 2, 0},                     // another table address
        {0, 0, 0, 60, 1, 0},                              // no table before
        {0, 0, 0x20, 0x3C, 4, 0xFF, 0xFF, 0xFF, 0x7F},    // as many pictures as there are numbers
        {0, 0, 0x20, 0x40, 32, 0},                        // a picture that is not there
        {0, 0, 0x20, 0x60, 8, 1, 0, 0, 0, 0, 0, 0, 0},    // one of one byte, that waits
        {0, 0, 0x20, 0xE0, 8, 1, 0, 0, 0, 0, 0, 0, 0x40}  // one far beyond the flash
    };
}

}  // namespace lumato::fuzz
