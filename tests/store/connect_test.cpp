#include <fstream>

#include "store/picture_count_text.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

vframe::Fault Refuse(std::uint64_t command) {
    return {command, vframe::FaultKind::Refuse};
}

class ConnectTest : public StoreTest {};

TEST_F(ConnectTest, AFrameWithoutTableComesOnlineEmpty) {
    const TestFlash flash;
    Connect(flash);
    EXPECT_EQ(LastConnection(), Connection::Online);
    EXPECT_EQ(m_spy->Take(), Commands{"inquiry"} + Read(0, 512) + Commands{"clock"} + Read(kTable, 4096));
    EXPECT_THAT(m_status.Notes(), ElementsAre("Device Online", "Read Picture(s)", "No Picture"));
    EXPECT_EQ(m_status.Refreshes(), 1);
    EXPECT_FALSE(Store().gmyIsTransferData);
    EXPECT_TRUE(FinishTransfer());
    EXPECT_EQ(Store().gmyDrawrect, (Rect{210, 136, 160, 128}));
    EXPECT_EQ(Store().TotolFlashSizeForPic, 0x50000 - kArea);
    EXPECT_EQ(SpaceText(), "68K/320K");
    EXPECT_EQ(Difference(FlashBytes(), flash.bytes), "");
}

TEST_F(ConnectTest, AFrameWithPictureLimitCountsPictures) {
    Connect(TestFlash(0x50000, 0xD8, 40).Pictures({100, 100, 100}));
    EXPECT_EQ(SpaceText(), "003/040");
}

TEST_F(ConnectTest, TheFirmwareHeaderLeadsToTheTable) {
    struct Case {
        int end;
        std::uint8_t check;
        int table;
    };
    for (const Case& c :
         {Case{70196, 0xDE, 0x20000}, Case{0x20000, 0xDE, 0x20000}, Case{70196, 0xDF, kTable}}) {
        TestFlash flash;
        flash.Put(256, {0x44, 0x50, 0x46, 0x48, c.check, 0x00, 0x0C, 0x00});
        flash.Put(0xC00 - 512 + 11, {static_cast<std::uint8_t>(c.end), static_cast<std::uint8_t>(c.end >> 8),
                                     static_cast<std::uint8_t>(c.end >> 16)});
        Connect(flash);
        EXPECT_EQ(Store().G_PicListAddress, c.table);
        Restart();
    }
}

TEST_F(ConnectTest, AFrameThatMakesNoSenseIsNeverWritten) {
    struct Case {
        const char* reason;
        int offset;
        Bytes bytes;
    };
    const std::vector<Case> cases = {
        {"display", 35, {0, 0}},
        {"display", 37, {0, 0}},
        {"where none can be", 32, {0, 0, 0}},
        {"where none can be", 32, {0, 0x10, 1}},
        {"beyond its flash", 32, {0, 0, 5}},
        {"beyond its flash", 43, {0xFF, 0xFF, 1}},
        {"would erase its firmware", 39, {0x60}},
        {"would erase its firmware", 39, {0xC7}},
        {"outside the frame's flash", 256, {0x44, 0x50, 0x46, 0x48, 0xDE, 0xFF, 0x01, 0x00}},
        {"outside the frame's flash", 256, {0x44, 0x50, 0x46, 0x48, 0xDE, 0xE0, 0x01, 0x05}},
    };
    for (const Case& c : cases) {
        TestFlash flash;
        flash.Put(kTable, MakeStream(4096, 1)).Put(c.offset, c.bytes);
        if (c.offset == 43)
            flash.Put(32, {0, 0, 1 + 1});
        Connect(flash);
        EXPECT_EQ(LastConnection(), Connection::BadInformation);
        EXPECT_THAT(m_status.Notes(), ElementsAre("Device Online", "Read Initializtion Information false!"));
        EXPECT_THAT(m_status.Details(), ElementsAre(HasSubstr(c.reason)));
        EXPECT_EQ(m_spy->Take(), Commands{"inquiry"} + Read(0, 512));
        EXPECT_EQ(m_status.Panel(), std::vector<bool>{false});
        EXPECT_EQ(m_status.Refreshes(), 0);
        EXPECT_FALSE(Download());
        EXPECT_EQ(Store().gmyLcdWidth, 128.0F);
        EXPECT_EQ(Difference(FlashBytes(), flash.bytes), "");
        Restart();
    }
}

TEST_F(ConnectTest, WhatCannotBeReadIsReported) {
    TestFlash flash;
    flash.Pictures({100});
    TestFlash withHeader = flash;
    withHeader.Put(256, {0x44, 0x50, 0x46, 0x48, 0xDE, 0x00, 0x0C, 0x00});

    // Command 1 is the INQUIRY; a checked read is three commands, of which a refused one ends an attempt.
    Connect(flash, {Refuse(2), Refuse(3), Refuse(4)});
    EXPECT_EQ(LastConnection(), Connection::BadInformation);
    Restart();
    Connect(withHeader, {Refuse(5)});
    EXPECT_EQ(LastConnection(), Connection::BadInformation);
    Restart();
    Connect(flash, {Refuse(6), Refuse(7), Refuse(8)});
    EXPECT_EQ(LastConnection(), Connection::BadTable);
    EXPECT_FALSE(BeginDownload());
    Restart();
    m_status.Notes();
    Connect(flash, {Refuse(9), Refuse(10), Refuse(11)});
    EXPECT_EQ(LastConnection(), Connection::ReadBackFailed);
    EXPECT_THAT(m_status.Notes(), ElementsAre("Device Online", "Read Picture(s)", "Read picture(s) false"));
    EXPECT_FALSE(BeginDownload());
    EXPECT_EQ(Difference(FlashBytes(), flash.bytes), "");
    Restart();
    Connect(flash, {Refuse(5)});  // the clock
    EXPECT_EQ(LastConnection(), Connection::Online);
}

TEST_F(ConnectTest, LocalFoldersAreEmptiedOfBitmaps) {
    const Path outside = Home() / "outside.bmp";
    std::ofstream(outside) << "kept";
    fs::create_directories(Home() / "data/folder.bmp");
    fs::create_directories(Home() / "Edata");
    for (const char* name : {"data/a.bmp", "data/b.BMP", "Edata/c.bMp", "data/d.txt", "data/bmp",
                             "Edata/.bmp", "data/.lumato-0123456789abcdef.tmp", "Edata/.lumato-1.tmp"})
        std::ofstream(Home() / name) << "x";
    fs::create_symlink(outside, Home() / "data/link.bmp");
    Connect(TestFlash());
    std::vector<std::string> left;
    for (const auto& entry : fs::recursive_directory_iterator(Home()))
        left.push_back(fs::relative(entry.path(), Home()));
    EXPECT_THAT(left, testing::UnorderedElementsAre("outside.bmp", "data", "Edata", "data/folder.bmp",
                                                    "data/d.txt", "data/bmp"));
}

TEST_F(ConnectTest, NothingIsTouchedThroughALinkInAFoldersPlace) {
    fs::create_directories(Home() / "elsewhere");
    std::ofstream(Home() / "elsewhere/mine.bmp") << "kept";
    for (const char* name : {"data", "Edata"}) {
        fs::create_symlink(Home() / "elsewhere", Home() / name);
        Connect(TestFlash().Pictures({100}));
        EXPECT_EQ(LastConnection(), Connection::ReadBackFailed);
        EXPECT_THAT(m_status.Details(), ElementsAre(HasSubstr(name)));
        EXPECT_EQ(std::distance(fs::directory_iterator(Home() / "elsewhere"), {}), 1);
        fs::remove(Home() / name);
        Restart();
    }
}

TEST_F(ConnectTest, AFrameThatGoesTakesItsListAlong) {
    Connect(TestFlash().Pictures({100, 200}));
    m_status.Notes();
    m_status.Lists();
    m_status.Panel();
    Unplug();
    EXPECT_EQ(Store().gmyPictureData, nullptr);
    EXPECT_EQ(Store().gmyTotalePictureNum, 0);
    EXPECT_EQ(flash::Flash().m_PtrPF, nullptr);
    EXPECT_THAT(m_status.Notes(), ElementsAre("Device Not Online!"));
    EXPECT_THAT(m_status.Lists(), ElementsAre(std::pair(0, 0)));
    EXPECT_EQ(m_status.Panel(), std::vector<bool>{false});
    EXPECT_TRUE(fs::is_empty(Home() / "Edata"));
    EXPECT_FALSE(fs::is_empty(Home() / "data"));
    EXPECT_FALSE(BeginDownload());
}

}  // namespace
}  // namespace lumato::store
