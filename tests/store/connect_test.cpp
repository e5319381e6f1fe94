// What a connection says and leaves here, and a deletion, and saving. What they do to the frame is compared
// from outside: tests/independent/.
#include <fstream>

#include "store/picture_count_text.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class ConnectTest : public StoreTest {};

TEST_F(ConnectTest, AFrameComesOnline) {
    Connect(TestFlash());
    EXPECT_EQ(LastConnection(), Connection::Online);
    EXPECT_THAT(m_status.Notes(), ElementsAre("Device Online", "Read Picture(s)", "No Picture"));
    EXPECT_EQ(m_status.Refreshes(), 1);
    EXPECT_FALSE(Store().gmyIsTransferData);
    EXPECT_TRUE(FinishTransfer());
    EXPECT_EQ(Store().gmyDrawrect, (Rect{210, 136, 160, 128}));
    EXPECT_EQ(SpaceText(), "68K/320K");
    Restart();

    Connect(TestFlash(0x50000, 0xD8, 40).Slots({{1, kArea, 1000}, {0, 0, 0}, {1, kArea + 1000, 65537}}));
    EXPECT_THAT(m_status.Notes(), ElementsAre("Device Online", "Read Picture(s)", "Read Picture:: 0",
                                              "Read Picture:: 1", "Picture(s) In Lumato"));
    EXPECT_THAT(m_status.Lists(), ElementsAre(std::pair(0, 0), std::pair(2, 0)));
    EXPECT_EQ(SpaceText(), "002/040");
    EXPECT_EQ(Streams(), (std::vector{MakeStream(1000, 1), MakeStream(65537, 3)}));
}

TEST_F(ConnectTest, WhatCannotBeReadIsReported) {
    const TestFlash flash = TestFlash().Pictures({100});
    TestFlash withHeader = flash;
    withHeader.Put(256, {0x44, 0x50, 0x46, 0x48, 0xDE, 0x00, 0x0C, 0x00});
    // Command 1 is the INQUIRY; a checked read is three commands, of which a refused one ends an attempt.
    const struct {
        const TestFlash* flash;
        std::vector<std::uint64_t> refused;  // commands
        Connection ending;
    } rows[] = {{&flash, {2, 3, 4}, Connection::BadInformation},
                {&withHeader, {5}, Connection::BadInformation},
                {&flash, {6, 7, 8}, Connection::BadTable},
                {&flash, {9, 10, 11}, Connection::ReadBackFailed},
                {&flash, {5}, Connection::Online}};  // the clock
    for (const auto& row : rows) {
        std::vector<vframe::Fault> faults;
        for (const std::uint64_t command : row.refused)
            faults.push_back({command, vframe::FaultKind::Refuse});
        m_status.Notes();
        Connect(*row.flash, faults);
        EXPECT_EQ(LastConnection(), row.ending);
        if (row.ending == Connection::ReadBackFailed) {
            EXPECT_THAT(m_status.Notes(),
                        ElementsAre("Device Online", "Read Picture(s)", "Read picture(s) false"));
        }
        EXPECT_EQ(Difference(FlashBytes(), row.flash->bytes), "");
        EXPECT_EQ(BeginDownload(), row.ending == Connection::Online);
        Restart();
    }
}

TEST_F(ConnectTest, LocalFoldersAreEmptiedOfBitmaps) {
    const Path outside = Home() / "outside.bmp";
    std::ofstream(outside) << "kept";
    fs::create_directories(Home() / "data/folder.bmp");
    fs::create_directories(Home() / "Edata");
    ::setenv("XDG_DATA_HOME", (Home() / "xdg").c_str(), 1);
    for (const char* name : {"data/a.bmp", "data/b.BMP", "Edata/c.bMp", "Edata/a.bmp", "data/Picture.bmp",
                             "data/Picture1.bmp", "data/DPFPicture20.bmp", "Edata/Picture3.bmp", "data/d.txt",
                             "data/bmp", "data/.lumato-0123456789abcdef.tmp", "Edata/.lumato-1.tmp"})
        std::ofstream(Home() / name) << "x";
    fs::create_symlink(outside, Home() / "data/link.bmp");
    Connect(TestFlash());
    std::vector<std::string> left;
    for (const char* folder : {".", "data", "Edata", "xdg/Trash/files"}) {
        for (const auto& entry : fs::directory_iterator(Home() / folder))
            left.push_back(Path(folder) / entry.path().filename());
    }
    // What bears no name of ours is in the trash.
    EXPECT_THAT(
        left, testing::UnorderedElementsAre(
                  "./outside.bmp", "./data", "./Edata", "./xdg", "data/folder.bmp", "data/d.txt", "data/bmp",
                  "xdg/Trash/files/a.bmp", "xdg/Trash/files/a.bmp.2", "xdg/Trash/files/b.BMP",
                  "xdg/Trash/files/c.bMp", "xdg/Trash/files/Picture.bmp", "xdg/Trash/files/link.bmp"));
    EXPECT_EQ(fs::status(Home() / "data").permissions(), fs::perms::owner_all);
}

// They are removed beside whoever was told that it left.
TEST_F(ConnectTest, WhatALeftFrameHadIsGoneBeforeTheNextOneComesAndAtTheEnd) {
    constexpr int kMany = 150;
    const TestFlash flash = TestFlash(0x90000).Pictures(std::vector<int>(kMany, 600));
    const auto streams = [&] {
        return std::distance(fs::directory_iterator(Home() / "Edata"), fs::directory_iterator());
    };
    Connect(flash);
    for (int i = 0; i < 5; ++i) {
        Unplug();
        Connect(flash);
        EXPECT_EQ(Listed().size(), kMany);
        EXPECT_EQ(streams(), kMany);
    }
    Unplug();
    Restart();
    EXPECT_EQ(streams(), 0);
}

class DeletePicturesTest : public StoreTest {
  protected:
    DeletePicturesTest() {
        KeepJournals();
        Connect(TestFlash().Pictures({100, 200, 300, 400, 500}));
        m_status.Notes();
        m_status.Lists();
    }
    std::vector<int> Gaps() {
        std::vector<int> gaps;
        for (const FileData& record : EachOf(Store().gmyPictureData))
            gaps.push_back(record.afterGap);
        return gaps;
    }
};

TEST_F(DeletePicturesTest, SeveralGoAsOneByOne) {
    DeletePicturesAt({5, 2, 3, 2});
    EXPECT_THAT(Listed(), ElementsAre(100, 400));
    EXPECT_THAT(Gaps(), ElementsAre(0, 1));
    EXPECT_THAT(m_status.Lists(), ElementsAre(std::pair(2, 2))) << "the next one is selected";
    EXPECT_THAT(m_status.Notes(), ElementsAre("The sequence number: 2"));
    EXPECT_FALSE(std::filesystem::exists(BitmapPath("DPFPicture3.bmp")));
    DeletePicturesAt({1, 3});
    EXPECT_THAT(m_status.Lists(), IsEmpty()) << "there is no third";
    const auto together = std::tuple(Store().G_PictureList, Store().TotolFlashSizeForPic);
    Restart();
    Connect(TestFlash().Pictures({100, 200, 300, 400, 500}));
    for (const int position : {5, 3, 2})
        Delete(position);
    EXPECT_TRUE(together == std::tuple(Store().G_PictureList, Store().TotolFlashSizeForPic));
    Store().gmyDeleteAll = true;
    DeletePictures();
    EXPECT_THAT(Listed(), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(Home() / "data"));
}

TEST_F(DeletePicturesTest, SavingTakesNothingFromAnybody) {
    namespace fs = std::filesystem;
    ::setenv("XDG_DATA_HOME", (Home() / "xdg").c_str(), 1);
    const Path trash = Home() / "xdg/Trash/files";
    const Path to = Home() / "to";
    Delete(1);
    fs::create_directories(to);
    fs::create_directory(Home() / "real");
    fs::create_symlink(Home() / "real", Store().statePath);  // what was written is noted there all the same
    fs::remove(BitmapPath("DPFPicture3.bmp"));
    test::PutBytes(to / "1.bmp", {'m', 'i', 'n', 'e'});
    test::PutBytes(to / "3.bmp", {'k', 'e', 'p', 't'});
    fs::permissions(to / "3.bmp", fs::perms{0444});
    test::PutBytes(Home() / "elsewhere", {'f', 'a', 'r'});
    fs::create_symlink(Home() / "elsewhere", to / "4.bmp");

    SaveReport report = SavePictures(to);
    EXPECT_EQ(report.saved, 2);
    EXPECT_THAT(report.replaced, ElementsAre(trash / "1.bmp", trash / "4.bmp"));
    ASSERT_EQ(report.failed.size(), 2U);
    EXPECT_THAT(report.failed[0].message.English(), testing::HasSubstr("DPFPicture3.bmp"));
    EXPECT_THAT(report.failed[1].message.English(), testing::HasSubstr("3.bmp"));
    EXPECT_EQ(ReadFile(to / "1.bmp"), ReadFile(BitmapPath("DPFPicture2.bmp")));
    EXPECT_EQ(test::TakeBytes(to / "2.bmp"), Bytes()) << "one that is missing has an empty file";
    EXPECT_EQ(test::TakeBytes(to / "3.bmp"), Bytes({'k', 'e', 'p', 't'})) << "made read-only by somebody";
    EXPECT_EQ(ReadFile(to / "4.bmp"), ReadFile(BitmapPath("DPFPicture5.bmp")));
    EXPECT_EQ(test::TakeBytes(trash / "1.bmp"), Bytes({'m', 'i', 'n', 'e'}));
    EXPECT_TRUE(fs::is_symlink(trash / "4.bmp"));
    EXPECT_EQ(test::TakeBytes(Home() / "elsewhere"), Bytes({'f', 'a', 'r'}));

    Delete(1);  // every number has another picture
    report = SavePictures(to);
    EXPECT_THAT(report.replaced, IsEmpty()) << "all of them are copies of ours";
    EXPECT_EQ(ReadFile(to / "2.bmp"), ReadFile(BitmapPath("DPFPicture4.bmp")));
    fs::permissions(to / "3.bmp", fs::perms{0644});
    fs::copy_file(to / "2.bmp", to / "3.bmp", fs::copy_options::overwrite_existing);
    EXPECT_EQ(SavePictures(to).replaced.size(), 1U) << "a copy that somebody put there";
    EXPECT_EQ(SavePictures(Home() / "nowhere").failed.size(), 3U);

    fs::remove(BitmapPath("DPFPicture4.bmp"));
    const Bytes earlier = test::TakeBytes(to / "2.bmp");
    report = SavePictures(to);
    EXPECT_THAT(report.failed, testing::SizeIs(2)) << "with the one that was missing before";
    EXPECT_EQ(test::TakeBytes(to / "2.bmp"), earlier) << "nothing is no newer copy";
}

}  // namespace
}  // namespace lumato::store
