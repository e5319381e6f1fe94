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
    EXPECT_EQ(SavePictures(folder), 2);
    EXPECT_EQ(ReadFile(folder / "1.bmp"), ReadFile(BitmapPath("DPFPicture2.bmp")));
    EXPECT_EQ(ReadFile(folder / "2.bmp"), ReadFile(BitmapPath("DPFPicture3.bmp")));
}

TEST_F(SavePicturesTest, AMissingBitmapIsNamed) {
    Connect(TestFlash().Pictures({100, 200, 300}));
    fs::create_directories(Home() / "to");
    fs::remove(BitmapPath("DPFPicture2.bmp"));
    const auto saved = SavePictures(Home() / "to");
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().kind, ErrorKind::NotFound);
    EXPECT_THAT(saved.error().message, testing::HasSubstr("DPFPicture2.bmp"));
    EXPECT_TRUE(fs::exists(Home() / "to/1.bmp"));
    EXPECT_FALSE(fs::exists(Home() / "to/2.bmp"));
    EXPECT_EQ(SavePictures(Home() / "nowhere").error().kind, ErrorKind::NotFound);
}

}  // namespace
}  // namespace lumato::store
