#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;

class SavePicturesTest : public StoreTest {};

TEST_F(SavePicturesTest, CopiesAreNumberedByPosition) {
    Connect(TestFlash().Pictures({100, 200, 300}));
    Delete(1);
    GetNode(Store().gmyPictureData.get(), 2)->fileName = "xDPFPicture3.bmp";
    const Path folder = Home() / "my pictures";
    fs::create_directories(folder);
    ASSERT_TRUE(WriteFile(folder / "1.bmp", Bytes{1, 2, 3}));
    EXPECT_EQ(SavePictures(folder).saved, 2);
    EXPECT_EQ(ReadFile(folder / "1.bmp"), ReadFile(BitmapPath("DPFPicture2.bmp")));
    EXPECT_EQ(ReadFile(folder / "2.bmp"), ReadFile(BitmapPath("DPFPicture3.bmp")));
}

TEST_F(SavePicturesTest, AMissingBitmapIsNamedAndTheOthersAreSaved) {
    Connect(TestFlash().Pictures({100, 200, 300}));
    fs::create_directories(Home() / "to");
    fs::remove(BitmapPath("DPFPicture2.bmp"));
    const SaveReport report = SavePictures(Home() / "to");
    EXPECT_EQ(report.saved, 2);
    ASSERT_EQ(report.failed.size(), 1U);
    EXPECT_EQ(report.failed[0].kind, ErrorKind::NotFound);
    EXPECT_THAT(report.failed[0].message, testing::HasSubstr("DPFPicture2.bmp"));
    EXPECT_TRUE(fs::exists(Home() / "to/1.bmp"));
    EXPECT_FALSE(fs::exists(Home() / "to/2.bmp"));
    EXPECT_TRUE(fs::exists(Home() / "to/3.bmp"));
    EXPECT_EQ(SavePictures(Home() / "nowhere").failed.size(), 3U);
}

}  // namespace
}  // namespace lumato::store
