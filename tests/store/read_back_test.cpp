#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

using testing::Each;
using testing::ElementsAre;

class ReadBackTest : public StoreTest {
  protected:
    // The table in memory from slot 1 on, up to the last slot that is not all zero.
    std::vector<TestSlot> Table() {
        std::vector<TestSlot> slots;
        std::size_t used = 0;
        for (std::size_t at = 16; at < kTableSize; at += 8) {
            const ByteSpan slot = ByteSpan(Store().G_PictureList).subspan(at, 8);
            slots.push_back({slot[0], static_cast<int>(GetLe24(slot.subspan(1))),
                             static_cast<int>(GetLe24(slot.subspan(5)))});
            if (std::ranges::any_of(slot, [](auto byte) { return byte != 0; }))
                used = slots.size();
        }
        slots.resize(used);
        return slots;
    }

    Bytes StreamFile(int number) {
        return ReadFile(StreamPath("DPFPicture" + std::to_string(number) + ".bmp")).value();
    }
};

// What cannot be written here is no damage there: the picture must stay in the table.
TEST_F(ReadBackTest, ALocalFailureIsNoDamagedPicture) {
    std::filesystem::create_directories(BitmapPath("DPFPicture2.bmp"));
    Connect(TestFlash().Pictures({100, 200, 300}));
    EXPECT_EQ(LastConnection(), Connection::ReadBackFailed);
    EXPECT_THAT(Store().whyFailed, testing::HasSubstr("DPFPicture2.bmp"));
    EXPECT_EQ(Store().G_PictureList[16 + 8], 1);
}

TEST_F(ReadBackTest, PicturesBecomeFilesAndRecords) {
    Connect(TestFlash().Slots({{1, kArea, 1000}, {0, 0, 0}, {1, kArea + 1000, 65537}}));
    EXPECT_EQ(LastConnection(), Connection::Online);
    EXPECT_THAT(m_status.Notes(), ElementsAre("Device Online", "Read Picture(s)", "Read Picture:: 0",
                                              "Read Picture:: 1", "Picture(s) In Lumato"));
    EXPECT_THAT(m_status.Lists(), ElementsAre(std::pair(2, 0)));
    EXPECT_THAT(Listed(), ElementsAre(1000, 65537));
    EXPECT_EQ(StreamFile(1), MakeStream(1000, 1));
    EXPECT_EQ(StreamFile(2), MakeStream(65537, 3));
    EXPECT_EQ(Store().TotolFlashSizeForPic, 0x50000 - kArea - 66537);
    EXPECT_EQ(Store().gmyTotalePicture, 2);
    const FileData* second = GetNode(Store().gmyPictureData.get(), 2);
    EXPECT_EQ(second->fileName, "DPFPicture2.bmp");
    EXPECT_EQ(ReadFile(second->fileRef)->size(), 65537 + 2U);
    EXPECT_EQ(second->inFrame, 1);
    EXPECT_EQ(second->afterGap, 1);
    EXPECT_EQ(second->seqIndex, 1);
    EXPECT_EQ(Table(), (std::vector<TestSlot>{{1, kArea, 1000}, {1, kArea + 1000, 65537}}));
}

TEST_F(ReadBackTest, BlocksAreReadWholeAndTheRestRoundedUp) {
    struct Case {
        int address;
        int length;
        Commands reads;
    };
    const int end = 0x50000;
    const std::vector<Case> cases = {
        {kArea, 1000, Read(kArea, 1024)},
        {kArea, 65536, Read(kArea, 65536)},
        {kArea, 65537, Read(kArea, 65536) + Read(kArea + 65536, 64)},
        {end - 100, 100, Read(end - 100, 100)},  // never beyond the flash
        {end - 65636, 65636, Read(end - 65636, 65536) + Read(end - 100, 100)},
    };
    for (const Case& c : cases) {
        Connect(TestFlash().Slots({{1, c.address, c.length}}));
        EXPECT_EQ(m_spy->Take(),
                  Commands{"inquiry"} + Read(0, 512) + Commands{"clock"} + Read(kTable, 4096) + c.reads);
        EXPECT_EQ(StreamFile(1), MakeStream(c.length, 1));
        Restart();
    }
}

TEST_F(ReadBackTest, OddSlotsAreDropped) {
    const TestSlot a{1, kArea + 5000, 300};
    const TestSlot b{1, kArea, 400};
    const TestSlot overlapping{1, kArea + 100, 300};
    const TestSlot odd{2, kArea + 9000, 10};
    const TestSlot erased{0xFF, 0xFFFFFF, 0xFFFFFF};
    struct Case {
        std::vector<TestSlot> slots;
        std::vector<TestSlot> kept;
    };
    const std::vector<Case> cases = {
        {{odd, a, erased, odd, b}, {a, b}},  // and pictures out of order stay in the table's order
        {{{1, kTable - 1, 100}, a}, {a}},
        {{{1, 0x50000 - 99, 100}, a}, {a}},
        {{{1, kArea + 9000, 100}, a}, {a}},  // not decodable, see below
        {{{1, kArea, 0}, a}, {a}},
        {{odd, {1, kTable - 1, 100}}, {odd}},  // nothing listed: the table stays as read
        {{a, {1, kTable + 10, 50}}, {a, {1, kTable + 10, 50}}},
    };
    for (const Case& c : cases) {
        TestFlash flash;
        flash.Slots(c.slots);
        flash.Put(kArea + 9000, {'N', 'O'});
        if (c.slots.size() == 2 && c.slots[1].address == kTable + 10)
            flash.Put(kTable + 10, {'P', 'I', 'C'});
        Connect(flash);
        std::vector<TestSlot> table = Table();
        std::erase_if(table, [](const TestSlot& slot) { return slot.status == 0; });
        EXPECT_EQ(table, c.kept);
        EXPECT_EQ(Difference(FlashBytes(), flash.bytes), "");
        Restart();
    }
    Connect(TestFlash().Slots({b, overlapping}).Put(kArea + 100, {'P', 'I', 'C'}));
    EXPECT_EQ(Table(), (std::vector<TestSlot>{b, overlapping}));
}

TEST_F(ReadBackTest, TheTableHolds509Pictures) {
    std::vector<TestSlot> slots;
    for (int i = 0; i < 509; ++i)
        slots.push_back({1, kArea + 64 * i, 64});
    TestFlash flash;
    flash.Slots(slots);
    // The last slot shares its length with the end mark, which says more than there is.
    flash.Put(kTable + 16 + 8 * 509, {1, 0x00, 0x10, 0x01});
    Connect(flash);
    EXPECT_EQ(Store().gmyTotalePictureNum, 509);
    EXPECT_EQ(Table().size(), 509U);
    EXPECT_TRUE(Download());
    Restart();
    Connect(flash);
    EXPECT_EQ(Store().gmyTotalePictureNum, 509);
}

TEST_F(ReadBackTest, AVanishedFrameEndsIt) {
    Connect(TestFlash().Pictures({70000, 70000}), {{12, vframe::FaultKind::Unplug}});
    EXPECT_EQ(LastConnection(), Connection::ReadBackFailed);
    EXPECT_THAT(m_status.Details(), ElementsAre("the frame is no longer connected"));
    const Commands sent = m_spy->Take();
    EXPECT_EQ(sent.size(), 12U);
    m_bus->DeliverEvents();
    EXPECT_EQ(m_status.Notes().back(), "Device Not Online!");
}

TEST_F(ReadBackTest, AFolderInAFilesPlaceEndsIt) {
    std::filesystem::create_directories(Home() / "Edata/DPFPicture2.bmp/x");
    Connect(TestFlash().Pictures({100, 100}));
    EXPECT_EQ(LastConnection(), Connection::ReadBackFailed);
    EXPECT_THAT(m_status.Details(), ElementsAre(testing::HasSubstr("DPFPicture2.bmp")));
    EXPECT_THAT(m_status.Progress(), Each(0));
}

// A disk that takes no bitmap is no reason to lose a picture: it would go with the next download.
TEST_F(ReadBackTest, ABitmapThatCannotBeWrittenEndsIt) {
    std::filesystem::create_directories(Home() / "data/DPFPicture1.bmp/x");
    Connect(TestFlash().Pictures({100, 100}));
    EXPECT_EQ(LastConnection(), Connection::ReadBackFailed);
    EXPECT_THAT(m_status.Details(), ElementsAre(testing::HasSubstr("DPFPicture1.bmp")));
    EXPECT_FALSE(Download());
    std::filesystem::remove_all(Home() / "data/DPFPicture1.bmp");
    Restart();
    Connect(TestFlash().Pictures({100, 100}));
    EXPECT_THAT(Listed(), ElementsAre(100, 100));
}

TEST_F(ReadBackTest, CompactionKeepsTheFirstUsedSlots) {
    Connect(TestFlash());
    auto& table = Store().G_PictureList;
    const auto fill = [&](std::initializer_list<std::uint8_t> statuses) {
        table.fill(0);
        std::size_t at = 16;
        for (const std::uint8_t status : statuses) {
            table[at] = status;
            table[at + 1] = static_cast<std::uint8_t>(at);
            at += 8;
        }
    };
    fill({1, 0, 1, 1});
    MovePicAddressInPicList(2);
    EXPECT_EQ(Table(), (std::vector<TestSlot>{{1, 16, 0}, {1, 32, 0}}));
    fill({1, 0xFF, 2, 0});
    MovePicAddressInPicList(0);
    EXPECT_EQ(Table(), (std::vector<TestSlot>{{1, 16, 0}, {2, 32, 0}}));
}

}  // namespace
}  // namespace lumato::store
