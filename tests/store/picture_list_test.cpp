#include "store/picture_list.h"

#include <gtest/gtest.h>

namespace lumato::store {
namespace {

FileData* Record(int size) {
    auto* record = new FileData;
    record->picSize = size;
    return record;
}

TEST(PictureListTest, PositionsBeyondTheEndMeanTheLast) {
    const PictureList list(CreateList());
    EXPECT_EQ(GetNode(list.get(), 5), list->sentinel);
    EXPECT_TRUE(DelNode(list.get(), 1));
    EXPECT_EQ(list->count, 0);
    for (int size = 1; size <= 3; ++size)
        EXPECT_TRUE(AddNode(list.get(), Record(size)));
    EXPECT_EQ(GetNode(list.get(), 0), list->sentinel);
    EXPECT_EQ(GetNode(list.get(), 8)->picSize, 3);
    EXPECT_TRUE(DelNode(list.get(), 7));
    EXPECT_EQ(GetNode(list.get(), 8)->picSize, 2);
    EXPECT_TRUE(DelNode(list.get(), 1));
    EXPECT_EQ(GetNode(list.get(), 1)->picSize, 2);
    EXPECT_EQ(list->count, 1);
}

TEST(PictureListTest, NullIsRefused) {
    const PictureList list(CreateList());
    EXPECT_FALSE(AddNode(list.get(), nullptr));
    EXPECT_FALSE(AddNode(nullptr, list->sentinel));
    EXPECT_FALSE(DelNode(nullptr, 1));
    EXPECT_EQ(list->count, 0);
    FreeList(nullptr);
}

}  // namespace
}  // namespace lumato::store
