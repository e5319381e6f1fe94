// What a deletion does here. What it does to the frame is compared from outside: tests/independent/.
#include "store/undo_deletion.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeletePicturesTest : public StoreTest {
  protected:
    DeletePicturesTest() {
        Connect(TestFlash().Pictures({100, 200, 300, 400, 500}));
        m_status.Notes();
        m_status.Lists();
    }
    std::vector<int> Gaps() {
        std::vector<int> gaps;
        for (int i = 1; i <= Store().gmyPictureData->count; ++i)
            gaps.push_back(GetNode(Store().gmyPictureData.get(), i)->afterGap);
        return gaps;
    }
};

TEST_F(DeletePicturesTest, TheSelectedOneGoesOrTheLastOrAll) {
    Delete(3);
    EXPECT_THAT(Listed(), ElementsAre(100, 200, 400, 500));
    EXPECT_THAT(Gaps(), ElementsAre(0, 0, 1, 1));
    EXPECT_EQ(Store().gmyCurrentSelectItem, 0);
    EXPECT_FALSE(std::filesystem::exists(BitmapPath("DPFPicture3.bmp")));
    EXPECT_THAT(m_status.Notes(), ElementsAre("The sequence number: 4"));
    EXPECT_THAT(m_status.Lists(), ElementsAre(std::pair(4, 4)));
    DeletePictures();
    EXPECT_THAT(Listed(), ElementsAre(100, 200, 400));
    Store().gmyDeleteAll = true;
    DeletePictures();
    EXPECT_THAT(Listed(), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(Home() / "data"));
    EXPECT_THAT(m_status.Notes(), ElementsAre("The sequence number: 3", "The sequence number: 0"));
    DeletePictures();
    EXPECT_THAT(m_status.Notes(), IsEmpty()) << "nothing is left";
}

TEST_F(DeletePicturesTest, ABitmapThatIsMissingIsNamedAndTheOthersAreSaved) {
    Delete(1);
    std::filesystem::create_directories(Home() / "to");
    std::filesystem::remove(BitmapPath("DPFPicture3.bmp"));
    const SaveReport report = SavePictures(Home() / "to");
    EXPECT_EQ(report.saved, 3);
    ASSERT_EQ(report.failed.size(), 1U);
    EXPECT_THAT(report.failed[0].message, testing::HasSubstr("DPFPicture3.bmp"));
    EXPECT_EQ(ReadFile(Home() / "to/1.bmp"), ReadFile(BitmapPath("DPFPicture2.bmp")));
    EXPECT_FALSE(std::filesystem::exists(Home() / "to/2.bmp"));
    EXPECT_EQ(ReadFile(Home() / "to/3.bmp"), ReadFile(BitmapPath("DPFPicture4.bmp")));
    EXPECT_EQ(SavePictures(Home() / "nowhere").failed.size(), 4U);
}

// What a deletion changes, for comparing before and after.
struct Standing {
    std::vector<int> listed, gaps;
    int space, number, selected, shown;
    Bytes table, bitmap;
    bool operator==(const Standing&) const = default;
};

TEST_F(DeletePicturesTest, AnUndoneDeletionLeavesNoTrace) {
    const Path bitmap = BitmapPath("DPFPicture3.bmp");
    const auto standing = [&] {
        const StoreState& store = Store();
        return Standing{Listed(),
                        Gaps(),
                        store.TotolFlashSizeForPic,
                        store.gmyTotalePicture,
                        store.gmyCurrentSelectItem,
                        store.gmyTotalePictureNum,
                        Bytes(store.G_PictureList.begin(), store.G_PictureList.end()),
                        ReadPlainFile(bitmap).value_or(Bytes())};
    };
    for (const bool all : {false, true}) {
        Store().gmyDeleteAll = all;
        Store().gmyCurrentSelectItem = 3;
        const Standing before = standing();
        ASSERT_FALSE(before.bitmap.empty());
        DeletionUndo undo;
        undo.DeletePictures();
        ASSERT_TRUE(undo.IsPossible());
        EXPECT_FALSE(standing() == before);
        undo.Undo();
        EXPECT_TRUE(standing() == before) << (all ? "all" : "one");
        EXPECT_FALSE(undo.IsPossible());
        EXPECT_FALSE(std::filesystem::exists(Store().gmyResousepath / "undo"));
    }
}

}  // namespace
}  // namespace lumato::store
