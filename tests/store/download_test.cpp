#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Commands Invalidate() {
    return Read(kTable, kBlock) + Erase(kTable) + Program(kTable, kBlock);
}
Commands WriteTable() {
    return Write(kTable, kBlock);
}

class DownloadTest : public StoreTest {
  protected:
    void ConnectQuietly(const TestFlash& flash) {
        m_before = flash.bytes;
        Connect(flash);
        m_spy->Take();
        m_status.Notes();
        m_status.Progress();
        m_status.Panel();
        m_status.Refreshes();
    }
    void ExpectSuccess(const Commands& commands, const std::vector<int>& progress) {
        EXPECT_TRUE(Download());
        EXPECT_EQ(m_spy->Take(), commands);
        EXPECT_EQ(m_status.Progress(), progress);
        EXPECT_THAT(m_status.Notes(), ElementsAre("Download Pictures(s)", "DownLoad Finished!"));
        EXPECT_EQ(m_status.Refreshes(), 1);
        EXPECT_FALSE(Store().gmyIsTransferData);
        for (int i = 1; i <= Store().gmyPictureData->count; ++i)
            EXPECT_EQ(GetNode(Store().gmyPictureData.get(), i)->inFrame, 1);
    }
    // The flash equals the one before with these blocks erased first, and then this table; each slot's
    // picture has its number as its seed, unless `seeds` says otherwise.
    void ExpectFlash(const std::vector<std::pair<int, int>>& erased, const std::vector<TestSlot>& slots,
                     const std::vector<unsigned>& seeds = {}) {
        TestFlash expected(static_cast<int>(m_before.size()));
        expected.bytes = m_before;
        for (const auto& [address, length] : erased)
            expected.Put(address, Bytes(static_cast<std::size_t>(length), 0xFF));
        expected.Slots(slots);
        for (std::size_t i = 0; i < seeds.size(); ++i)
            expected.Put(slots[i].address, MakeStream(slots[i].length, seeds[i]));
        if (m_before[kTable] != 'A')
            expected.Put(kTable + 4, Bytes(12, 0));
        EXPECT_EQ(Difference(FlashBytes(), expected.bytes), "");
    }

    Bytes m_before;
};

TEST_F(DownloadTest, FewNewPicturesFitIntoTheTableBlock) {
    ConnectQuietly(TestFlash());
    Add(20000, 1);
    Add(20000, 2);
    Add(10000, 3);
    ExpectSuccess(Invalidate() + WriteTable(), {0, 10, 20, 99, 100});
    ExpectFlash({{kTable, kBlock}},
                {{1, kArea, 20000}, {1, kArea + 20000, 20000}, {1, kArea + 40000, 10000}});
}

TEST_F(DownloadTest, HardwareIsAskedOnceMoreWhoItIsBeforeTheFirstErase) {
    ConnectQuietly(TestFlash());
    Add(20000, 1);
    m_spy->BecomeHardware("SOMEBODY");
    EXPECT_FALSE(Download());
    EXPECT_EQ(m_spy->Take(), Read(kTable, kBlock) + Commands{"inquiry"});
    EXPECT_EQ(Difference(FlashBytes(), m_before), "");

    m_spy->BecomeHardware("QUORVANE");
    EXPECT_TRUE(Download());
    Commands expected = Invalidate() + WriteTable();
    const Commands read = Read(kTable, kBlock);
    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(read.size()), "inquiry");
    EXPECT_EQ(m_spy->Take(), expected);
}

TEST_F(DownloadTest, NewPicturesFollowTheStoredOnes) {
    TestFlash flash;
    flash.Pictures({1000, 2000, 3000}).Put(kArea + 50000, {1, 2, 3});
    ConnectQuietly(flash);
    Add(500, 4);
    Add(600, 5);
    ExpectSuccess(Invalidate() + Read(kTable, kBlock) + WriteTable(), {0, 10, 20, 99, 100});
    ExpectFlash({}, {{1, kArea, 1000},
                     {1, kArea + 1000, 2000},
                     {1, kArea + 3000, 3000},
                     {1, kArea + 6000, 500},
                     {1, kArea + 6500, 600}});
}

TEST_F(DownloadTest, ABlockThatIsPartlyInUseIsCompleted) {
    TestFlash flash;
    flash.Pictures({61440 + 1000}).Put(0x30000, Bytes(kBlock, 0));
    ConnectQuietly(flash);
    Add(70000, 2);
    ExpectSuccess(Invalidate() + Read(kTable, kBlock) + Read(0x20000, kBlock) + Write(0x20000, kBlock) +
                      Write(0x30000, 6144) + WriteTable(),
                  {0, 10, 20, 30, 90, 99, 100});
    ExpectFlash({{0x30000, kBlock}}, {{1, kArea, 62440}, {1, kArea + 62440, 70000}});

    // One that ends exactly at the boundary leaves no block to be written behind it.
    m_before = FlashBytes();
    Add(0x40000 - (kArea + 132440), 3);
    ExpectSuccess(
        Invalidate() + Read(kTable, kBlock) + Read(0x30000, kBlock) + Write(0x30000, kBlock) + WriteTable(),
        {0, 10, 20, 30, 99, 100});
    ExpectFlash(
        {}, {{1, kArea, 62440}, {1, kArea + 62440, 70000}, {1, kArea + 132440, 0x40000 - (kArea + 132440)}});
}

TEST_F(DownloadTest, LargePicturesAreWrittenInWholeBlocks) {
    ConnectQuietly(TestFlash().Put(0x20000, Bytes(3 * kBlock, 0)));
    Add(150000, 1);
    Add(50000, 2);
    ExpectSuccess(
        Invalidate() + Write(0x20000, kBlock) + Write(0x30000, kBlock) + Write(0x40000, 8192) + WriteTable(),
        {0, 10, 20, 30, 50, 70, 90, 99, 100});
    ExpectFlash({{kTable, 4 * kBlock}}, {{1, kArea, 150000}, {1, kArea + 150000, 50000}});
}

TEST_F(DownloadTest, WithoutRoomBehindThemAllPicturesAreRewritten) {
    ConnectQuietly(TestFlash().Pictures({60000, 60000, 60000}));
    Delete(1);
    Add(100000, 3);
    m_status.Notes();
    ExpectSuccess(
        Invalidate() + Write(0x20000, kBlock) + Write(0x30000, kBlock) + Write(0x40000, 27648) + WriteTable(),
        {0, 10, 20, 30, 50, 70, 90, 99, 100});
    EXPECT_EQ(GetNode(Store().gmyPictureData.get(), 2)->afterGap, 0);
    ExpectFlash({{kTable, 4 * kBlock}},
                {{1, kArea, 60000}, {1, kArea + 60000, 60000}, {1, kArea + 120000, 100000}}, {2, 3, 3});
}

TEST_F(DownloadTest, DeletionsAloneRewriteTheTable) {
    ConnectQuietly(TestFlash().Pictures({1000, 2000, 3000}));
    Delete(2);
    m_status.Notes();
    ExpectSuccess(Invalidate() + Read(kTable, kBlock) + WriteTable(), {0, 100});
    ExpectFlash({}, {{1, kArea, 1000}, {1, kArea + 3000, 3000}}, {1, 3});

    // The place of the last picture is used again, the gap before it is not.
    m_before = FlashBytes();
    Delete(2);
    Add(400, 7);
    m_status.Notes();
    ExpectSuccess(Invalidate() + Read(kTable, kBlock) + WriteTable(), {0, 10, 20, 99, 100});
    ExpectFlash({}, {{1, kArea, 1000}, {1, kArea + 1000, 400}}, {1, 7});
}

TEST_F(DownloadTest, AllPicturesCanBeReplaced) {
    ConnectQuietly(TestFlash().Pictures({1000, 2000}));
    Store().gmyDeleteAll = true;
    DeletePictures();
    m_status.Notes();
    ExpectSuccess(Invalidate() + Read(kTable, kBlock) + WriteTable(), {0, 100});
    ExpectFlash({}, {});
    Add(500, 1);
    EXPECT_TRUE(Download());
    ExpectFlash({{kTable, kBlock}}, {{1, kArea, 500}});
}

TEST_F(DownloadTest, PicturesOutOfOrderStayWhole) {
    ConnectQuietly(TestFlash().Slots({{1, kArea + 5000, 300}, {1, kArea, 400}}));
    Add(100, 3);
    ExpectSuccess(Invalidate() + Read(kTable, kBlock) + WriteTable(), {0, 10, 20, 99, 100});
    ExpectFlash({}, {{1, kArea + 5000, 300}, {1, kArea, 400}, {1, kArea + 5300, 100}});
}

TEST_F(DownloadTest, APictureInTheTablesPlaceIsMoved) {
    for (const bool add : {false, true}) {
        TestFlash flash;
        flash.Slots({{1, kArea + 5000, 300}, {1, kTable + 4000, 400}});
        flash.Put(kTable + 4000, MakeStream(400, 2)).Put(kTable + 4094, {0x55, 0xAA});
        ConnectQuietly(flash);
        ASSERT_THAT(Listed(), ElementsAre(300, 400));
        const Bytes damaged = *ReadFile(StreamPath("DPFPicture2.bmp"));
        if (add)
            Add(100, 3);
        EXPECT_TRUE(Download());
        std::vector<TestSlot> slots = {{1, kArea, 300}, {1, kArea + 300, 400}};
        if (add)
            slots.push_back({1, kArea + 700, 100});
        TestFlash expected = flash;
        expected.Put(kTable, Bytes(kBlock, 0xFF)).Slots(slots).Put(kArea + 300, damaged);
        EXPECT_EQ(Difference(FlashBytes(), expected.bytes), "");
        Restart();
    }
}

TEST_F(DownloadTest, TheFlashCanBeFilledToItsEnd) {
    ConnectQuietly(TestFlash());
    Add(0x50000 - kArea, 1);
    EXPECT_TRUE(Download());
    ExpectFlash({}, {{1, kArea, 0x50000 - kArea}});
    Delete(1);
    Add(0x50000 - kArea + 1, 1);
    m_before = FlashBytes();
    m_spy->Take();
    m_status.Notes();
    EXPECT_FALSE(Download());
    EXPECT_THAT(m_spy->Take(), IsEmpty());
    EXPECT_THAT(m_status.Notes(), ElementsAre("Download Pictures(s)", "Fail To Download Picture"));
    EXPECT_EQ(Difference(FlashBytes(), m_before), "");
}

TEST_F(DownloadTest, AnEndThatCannotBeErasedIsNotUsed) {
    struct Case {
        std::uint32_t erase;
        int end;
    };
    for (const Case& c : {Case{0xD8, 0x40000}, Case{0x52, 0x48000}, Case{0x20, 0x4F000}}) {
        TestFlash flash(0x50000, c.erase);
        flash.Put(43, {0x9C, 0xFF, 0x04}).Put(0x20000, Bytes(3 * kBlock, 0));  // flash size 0x4FF9C
        ConnectQuietly(flash);
        Add(c.end - kArea + 1, 1);
        EXPECT_FALSE(Download());
        EXPECT_EQ(Difference(FlashBytes(), m_before), "");
        Delete(1);
        Add(c.end - kArea - 2000, 1);
        EXPECT_TRUE(Download());
        Add(2000, 2);
        EXPECT_TRUE(Download());
        ExpectFlash({}, {{1, kArea, c.end - kArea - 2000}, {1, c.end - 2000, 2000}});
        Restart();
    }
}

TEST_F(DownloadTest, AMissingFileCostsNothing) {
    ConnectQuietly(TestFlash().Pictures({1000}));
    Add(100, 2);
    Add(100, 3);
    const Path stream = StreamPath("Picture3.bmp");
    for (const int size : {-1, 99, 101}) {
        std::filesystem::remove(stream);
        if (size >= 0) {
            ASSERT_TRUE(WriteFile(stream, MakeStream(size, 3)));
        }
        EXPECT_FALSE(Download());
        EXPECT_THAT(m_spy->Take(), IsEmpty());
        EXPECT_THAT(m_status.Notes(), ElementsAre("Download Pictures(s)", "Fail To Download Picture"));
        EXPECT_THAT(m_status.Details(), ElementsAre(testing::HasSubstr("Picture3.bmp")));
        EXPECT_THAT(m_status.Progress(), ElementsAre(0, 0));
        EXPECT_EQ(m_status.Refreshes(), 1);
        EXPECT_FALSE(Store().gmyIsTransferData);
    }
    ASSERT_TRUE(WriteFile(stream, MakeStream(100, 3)));
    EXPECT_TRUE(Download());
}

TEST_F(DownloadTest, SmallEraseUnitsGiveTheSameFlash) {
    for (const std::uint32_t erase : {0x20U, 0x52U}) {
        TestFlash flash(0x50000, erase);
        flash.Pictures({61440 + 1000}).Put(0x30000, Bytes(2 * kBlock, 0));
        ConnectQuietly(flash);
        Add(150000, 2);
        EXPECT_TRUE(Download());
        // Of the last block only the units with data are erased.
        const int last = kArea + 62440 + 150000;
        const int unit = erase == 0x20 ? 4096 : 32768;
        ExpectFlash({{0x30000, kBlock}, {0x40000, (last - 0x40000 + unit - 1) / unit * unit}},
                    {{1, kArea, 62440}, {1, kArea + 62440, 150000}});
        Restart();
    }
}

// The table block is on the frame in pieces by then: to stop would lose the pictures in it.
TEST_F(DownloadTest, ACommandThatFailsWhileTheTableIsInvalidatedDoesNotEndIt) {
    const std::size_t connecting = 1 + 3 + 1 + 3 + 3;
    for (const std::size_t n : {7U, 11U}) {
        for (const auto kind :
             {vframe::FaultKind::Refuse, vframe::FaultKind::Lost, vframe::FaultKind::Half}) {
            Connect(TestFlash().Pictures({1000}), {{connecting + n, kind}});
            Add(500, 2);
            EXPECT_TRUE(Download()) << n;
            Restart();
        }
    }
}

TEST_F(DownloadTest, EachStepHasItsMessage) {
    struct Case {
        std::vector<int> stored;
        int added;
        std::uint64_t from;  // command of the download from which on everything is refused
        const char* text;
    };
    const std::vector<Case> cases = {
        {{62440}, 70000, 1, "Fail To Download Picture"},     // the table block is read
        {{62440}, 70000, 7, "Fail To Download Picture"},     // erased and programmed, which the next
        {{62440}, 70000, 11, "Fail To Download Picture"},    // read shows
        {{62440}, 70000, 12, "Fail To Download Picture"},    // read again
        {{62440}, 70000, 15, "Fail To Download Picture"},    // block in use: read
        {{62440}, 70000, 18, "Fail To Download Picture"},    // and written
        {{62440}, 150000, 27, "Fail To Download Picture!"},  // whole block
        {{62440}, 70000, 27, "Fail To Download Pictures!"},  // last block
        {{62440}, 70000, 36, "Fail To Download Picture!"},   // table
        {{62440, 100}, 0, 12, "Fail To Dowload Picture!"},   // deletion: the table block is read again
        {{62440, 100}, 0, 15, "Fail To Download Picture!"},
    };
    for (const Case& c : cases) {
        const std::size_t commands = 1 + 3 + 1 + 3 + 3 * c.stored.size();  // of connecting
        std::vector<vframe::Fault> faults;
        for (std::uint64_t i = 0; i < 60; ++i)
            faults.push_back({commands + c.from + i, vframe::FaultKind::Refuse});
        TestFlash flash;
        Connect(flash.Pictures(c.stored), faults);
        ASSERT_EQ(m_spy->Take().size(), commands);
        if (c.added > 0)
            Add(c.added, 2);
        else
            Delete(2);
        m_status.Notes();
        EXPECT_FALSE(Download());
        EXPECT_THAT(m_status.Notes(), ElementsAre("Download Pictures(s)", c.text)) << c.from;
        EXPECT_EQ(m_status.Progress().back(), 0);
        EXPECT_GE(m_status.Refreshes(), 1);
        Restart();
    }
}

}  // namespace
}  // namespace lumato::store
