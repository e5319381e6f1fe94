// The input is a list of patches (address, length, bytes) to a journal. The sum over it is made right again,
// so that the fuzzer gets behind it. What recovery makes of journals is in the store's own tests.
#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "store/journal_folder.h"
#include "tests/support/temporary_folder.h"

namespace lumato::fuzz {
namespace {

// Two pictures and a block.
Bytes SoundJournal() {
    store::Journal journal;
    journal.phase = store::Journal::Phase::Download;
    journal.counter = 3;
    journal.individual = "one";
    journal.pictures = {{Sha256(Bytes{1}), 1, 0x11000}, {Sha256(Bytes{2}), 2, 0}};
    journal.blocks[0x20000] = Bytes(store::kTableSize, 4);
    return store::EncodeJournal(journal);
}

}  // namespace

void RunJournal(ByteSpan bytes) {
    Input input(bytes);
    const Bytes sound = SoundJournal();
    Bytes journal(sound.begin(), sound.end() - input.Byte());  // cut short
    Patch(input, journal);
    const Digest sum = Sha256(ByteSpan(journal).first(journal.size() - sizeof(Digest)));
    std::ranges::copy(sum, journal.end() - static_cast<std::ptrdiff_t>(sizeof(Digest)));
    const test::TemporaryFolder home;
    const Path folder = home / "frame", aside = home / "frame.damaged";
    std::filesystem::create_directory(folder);
    test::PutBytes(folder / "journal", journal);
    test::PutBytes(folder / "1.stream", {1});
    const auto loaded = store::LoadJournal(folder);
    if (loaded)
        Demand(store::EncodeJournal(*loaded) == journal, "a journal says all that its bytes say");
    const Path& now = loaded || loaded.error().kind == ErrorKind::Unsupported ? folder : aside;
    Demand(test::TakeBytes(now / "journal") == journal && test::TakeBytes(now / "1.stream") == Bytes{1},
           "a damaged journal is put aside with its pictures, and no other");
}

std::vector<Bytes> JournalSeeds() {
    return {
        {},
        {200},
        {0, 0, 0, 8, 1, 1},                             // additions only
        {0, 0, 0, 9, 1, 1},                             // from scratch
        {0, 0, 0, 10, 1, 1},                            // what must be 0: once a fault
        {0, 0, 0x20, 0x40, 4, 0xFF, 0xFF, 0xFF, 0x7F},  // as many pictures as there are numbers
        {0, 0, 0x20, 0x40, 4, 3, 0, 0, 0},              // more of them than bytes
        {0, 0, 0x20, 0x67, 1, 0x80},                    // a picture of less than nothing
        {0, 0, 0x30, 0xA0, 4, 0xFF, 0xFF, 0xFF, 0x7F},  // a name without an end
    };
}

}  // namespace lumato::fuzz
