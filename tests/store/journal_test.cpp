#include "store/journal.h"

#include <gtest/gtest.h>

#include "store/journal_folder.h"
#include "tests/support/temporary_folder.h"

namespace lumato::store {
namespace {

using Bytes = std::vector<std::uint8_t>;

Journal MakeJournal() {
    Journal journal;
    journal.phase = Journal::Phase::Download;
    journal.fromScratch = true;
    journal.frame.fill(7);
    journal.tableAddress = 0x10000;
    journal.first = 2;
    journal.total = 3000;
    journal.start = 0x11000;
    journal.tableBefore.fill(1);
    journal.tableAfter.fill(2);
    journal.pictures = {{Sha256(Bytes{1}), 1, 0x11000}, {Sha256(Bytes{2}), 0x7FFFFFFF, 0}};
    journal.blocks[0x20000] = Bytes(4096, 4);
    return journal;
}

// As whoever writes a journal with other contents would: the sum is right.
Bytes Sealed(Bytes content) {
    const Digest sum = Sha256(content);
    content.insert(content.end(), sum.begin(), sum.end());
    return content;
}

TEST(JournalTest, IsNotTrustedWithAnyByteChangedNorCutShort) {
    const Bytes whole = EncodeJournal(MakeJournal());
    ASSERT_EQ(DecodeJournal(whole).value(), MakeJournal());
    for (std::size_t i = 0; i < whole.size(); ++i) {
        Bytes damaged = whole;
        damaged[i] ^= static_cast<std::uint8_t>(1U << i % 8);
        ASSERT_FALSE(DecodeJournal(damaged)) << i;
        ASSERT_FALSE(DecodeJournal(ByteSpan(whole).first(i))) << i;
    }
}

TEST(JournalTest, SurvivesCountsAndSizesThatCannotBeThoughTheSumIsRight) {
    const Bytes whole = EncodeJournal(MakeJournal());
    const Bytes content(whole.begin(), whole.end() - 32);
    ASSERT_TRUE(DecodeJournal(Sealed(content)));
    const std::size_t count = 8 + 4 + 32 + 16 + 2 * 4096;
    const std::size_t blocks = count + 4 + 2 * 40;
    for (const std::size_t at : {count, blocks, blocks + 4, blocks + 8}) {
        for (const std::uint32_t value :
             {0U, 3U, 5000U, 0x10000000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            Bytes changed = content;
            PutLe32(MutableByteSpan(changed).subspan(at), value);
            // Another address of a block says nothing by itself.
            EXPECT_TRUE(!DecodeJournal(Sealed(changed)) || at == blocks + 4) << at << " " << value;
        }
    }
    for (std::size_t length = 8; length < content.size(); length += 13)
        EXPECT_FALSE(
            DecodeJournal(Sealed(Bytes(content.begin(), content.begin() + static_cast<int>(length)))));
}

// A program that is killed in the middle of writing leaves a temporary file; it goes with the journal.
TEST(JournalTest, NothingOfItStays) {
    const test::TemporaryFolder home;
    const Path folder = home.Get() / "frame";
    std::filesystem::create_directory(folder);
    ASSERT_TRUE(WriteFile(folder / ".lumato-0123.tmp", {}));
    DropJournal(folder);
    EXPECT_FALSE(std::filesystem::exists(folder));
}

}  // namespace
}  // namespace lumato::store
