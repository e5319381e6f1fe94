// Pictures that were added and not downloaded, journals that do not fit the frame, and what is a journal.
#include <gmock/gmock.h>

#include "store/journal.h"
#include "store/journal_folder.h"
#include "store/kept_journals.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/safekeeping.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class WaitingPicturesTest : public StoreTest {
  protected:
    WaitingPicturesTest() { KeepJournals(); }

    // The program ends without a word, and the frame is connected anew.
    void Crash(const Bytes& flash, const std::string& individual = {}) {
        Restart();
        m_status.Notes();
        m_spy->Call(individual);
        Connect(TestFlash::Of(flash));
    }
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const FileData& record : EachOf(Store().gmyPictureData))
            names.push_back(record.fileName);
        return names;
    }
    Path Journals() const { return Home() / "state/recovery"; }
    // A download of one more picture breaks off behind the invalidated table. The flash afterwards.
    Bytes BreakOff(const TestFlash& flash, const std::string& individual = {}, std::uint64_t command = 30) {
        Restart();
        m_spy->Call(individual);
        Connect(flash, {{command, vframe::FaultKind::Unplug}});
        Add(500, 9);
        EXPECT_FALSE(Download());
        const Bytes left = FlashBytes();
        EXPECT_FALSE(IsTable(ByteSpan(left).subspan(kTable, 4096)));
        return left;
    }
};

TEST_F(WaitingPicturesTest, ComeBackInTheirOrderUnderNamesOfTheirOwn) {
    const TestFlash flash = TestFlash().Pictures({1000, 2000});
    Connect(flash);
    const int free = Store().TotolFlashSizeForPic;
    Add(300, 7);
    Add(400, 8);
    Add(500, 9);
    Delete(4);
    for (int times = 0; times < 2; ++times) {
        Crash(flash.bytes);
        EXPECT_THAT(Listed(), ElementsAre(1000, 2000, 300, 500));
        EXPECT_THAT(Names(),
                    ElementsAre("DPFPicture1.bmp", "DPFPicture2.bmp", "Picture3.bmp", "Picture4.bmp"));
        EXPECT_THAT(m_status.Notes(), Contains(kWaitingBack.english));
        EXPECT_EQ(Store().TotolFlashSizeForPic, free - 800);
        EXPECT_EQ(Difference(FlashBytes(), flash.bytes), "");
    }
    Add(600, 10);
    EXPECT_EQ(Names().back(), "Picture5.bmp");
    EXPECT_TRUE(Download());
    EXPECT_TRUE(fs::is_empty(Journals()));
    Crash(FlashBytes());
    EXPECT_THAT(Listed(), ElementsAre(1000, 2000, 300, 500, 600));
    EXPECT_FALSE(DownloadIsDue());
}

// Frames of one model are told apart by what they hold, whether the system knows them by more or not.
TEST_F(WaitingPicturesTest, AJournalWaitsForItsFrameWhateverItsTwinsHold) {
    const TestFlash flash = TestFlash().Pictures({1000, 2000});
    const TestFlash other =
        TestFlash().Slots({{1, kArea + 5000, 700}}).Put(kArea + 5000, MakeStream(700, 55));
    for (const char* const individual : {"", "its own"}) {
        for (const TestFlash& twin : {other, flash, TestFlash()}) {
            const Bytes left = BreakOff(flash, individual);
            Crash(twin.bytes, *individual != '\0' ? "another" : "");
            Add(200, 8);
            EXPECT_TRUE(Download());
            Crash(left, individual);
            EXPECT_THAT(Listed(), testing::UnorderedElementsAre(1000, 2000, 500));
            EXPECT_TRUE(Download());
            EXPECT_TRUE(*individual == '\0' || fs::is_empty(Journals()));
            fs::remove_all(Journals());
        }
    }
}

TEST_F(WaitingPicturesTest, OfTwoJournalsTheOneOfWhatAFilledAnewFrameHoldsCounts) {
    const TestFlash flash = TestFlash().Pictures({1000, 2000});
    const TestFlash anew = TestFlash().Slots({{1, kArea, 700}, {1, kArea + 800, 1600}});
    for (const char* const individual : {"", "its own"}) {
        for (const bool newest : {true, false}) {
            Bytes left = newest ? Bytes() : BreakOff(anew, individual);
            BreakOff(flash, individual);
            if (newest)
                left = BreakOff(anew, individual);
            Crash(left, individual);
            EXPECT_THAT(Listed(), testing::UnorderedElementsAre(700, 1600, 500));
            EXPECT_THAT(m_status.Details(), Contains(HasSubstr("1 recovery journal that does not fit")));
            fs::remove_all(Journals());
        }
    }
}

TEST_F(WaitingPicturesTest, OfTwinsJournalsTheNewestCountsUnlessOneIsTheFramesOwn) {
    const TestFlash flash = TestFlash().Pictures({1000});
    Crash(flash.bytes, "one");
    Add(300, 7);
    Crash(flash.bytes, "two");
    Add(400, 8);
    Crash(flash.bytes, "three");
    EXPECT_THAT(Listed(), ElementsAre(1000, 300, 400));
    Crash(flash.bytes, "one");
    EXPECT_THAT(Listed(), ElementsAre(1000, 300));
}

// The second picture lies in a block that the download does not touch.
TEST_F(WaitingPicturesTest, AFrameWithoutWhatEveryCutLeavesIsAnother) {
    BreakOff(TestFlash().Pictures({61440, 60000, 70000}), {}, 36);
    Crash(TestFlash().bytes);
    EXPECT_THAT(Listed(), testing::IsEmpty());
}

TEST_F(WaitingPicturesTest, ADownloadThatFailedGoesOnWithWhatWasAddedAndDeletedSince) {
    const TestFlash flash = TestFlash().Pictures({1000, 2000, 3000});
    Crash(BreakOff(flash));
    EXPECT_THAT(m_status.Notes(), Contains(kDownloadBrokenOff.english));
    std::vector<int> listed = Listed();
    Delete(static_cast<int>(std::find(listed.begin(), listed.end(), 2000) - listed.begin()) + 1);
    Add(60, 12);
    EXPECT_TRUE(Download());
    Crash(FlashBytes());
    EXPECT_THAT(Listed(), ElementsAre(1000, 3000, 500, 60));
}

TEST_F(WaitingPicturesTest, AJournalThatCannotBeReadKeepsTheFrameFromBeingTakenForEmpty) {
    const TestFlash flash = TestFlash().Pictures({1000});
    const Bytes left = BreakOff(flash);
    Restart();
    const Path journal = fs::directory_iterator(Journals())->path() / "journal";
    // Itself, and the folder of all, which a link to itself keeps even root from.
    for (const Path& closed : {journal, Journals().parent_path()}) {
        fs::rename(closed, Home() / "kept");
        if (closed == journal)
            fs::create_directory(closed);
        else
            fs::create_symlink(closed, closed);
        Crash(left);
        EXPECT_EQ(LastConnection(), Connection::ReadBackFailed) << closed;
        EXPECT_FALSE(Download()) << closed;
        fs::remove(closed);
        fs::rename(Home() / "kept", closed);
    }
    Crash(left);
    EXPECT_THAT(Listed(), testing::UnorderedElementsAre(1000, 500));
}

TEST_F(WaitingPicturesTest, ADamagedStreamCostsNoOtherPicture) {
    TestFlash flash;
    Connect(flash);
    Add(300, 7);
    Add(400, 8);
    const Path folder = fs::directory_iterator(Journals())->path();
    const KeptJournal kept = KeptJournals(Store().statePath).value().at(0);
    EXPECT_FALSE(GiveOut(kept, folder / "mine", m_codec)) << "would go with the journal";
    const std::string name = HexText(Sha256(MakeStream(300, 7))) + ".stream";
    ASSERT_TRUE(WriteFile(folder / name, Bytes(300)));
    Crash(flash.bytes);
    EXPECT_THAT(Listed(), ElementsAre(400));
    EXPECT_THAT(m_status.Details(), Contains(HasSubstr("could not be recovered")));
    EXPECT_TRUE(Download());
    EXPECT_EQ(ReadFile(folder / (name + ".damaged")).value(), Bytes(300));
}

TEST(JournalTest, IsNotTrustedWithAnyByteChangedNorCutShort) {
    Journal journal;
    EXPECT_EQ(DecodeJournal(EncodeJournal(journal)).value(), journal) << "of no pictures";
    journal.phase = Journal::Phase::Download;
    journal.fromScratch = true;
    journal.frame.fill(7);
    journal.counter = 0xFFFFFFFE;
    journal.time = 2;
    journal.lcdWidth = journal.lcdHeight = journal.flashSize = 3;
    journal.individual = "one";
    journal.name = "frame";
    journal.tableBefore.fill(1);
    journal.tableAfter.fill(2);
    journal.pictures = {{Sha256(Bytes{1}), 1, 0x11000}, {Sha256(Bytes{2}), 0x7FFFFFFF, 0}};
    journal.blocks[0x20000] = Bytes(4096, 4);
    const Bytes whole = EncodeJournal(journal);
    ASSERT_EQ(DecodeJournal(whole).value(), journal);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        Bytes damaged = whole;
        damaged[i] ^= static_cast<std::uint8_t>(1U << i % 8);
        ASSERT_FALSE(DecodeJournal(damaged)) << i;
        ASSERT_FALSE(DecodeJournal(ByteSpan(whole).first(i))) << i;
    }
}

}  // namespace
}  // namespace lumato::store
