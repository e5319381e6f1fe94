// What a deletion does here. What it does to the frame is compared from outside: tests/independent/.
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    fs::copy_file(to / "2.bmp", to / "1.bmp", fs::copy_options::overwrite_existing);
    EXPECT_EQ(SavePictures(to).replaced.size(), 1U) << "a copy that somebody put there";
    EXPECT_EQ(SavePictures(Home() / "nowhere").failed.size(), 3U);
}

}  // namespace
}  // namespace lumato::store
