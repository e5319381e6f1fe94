#include "picture/bitmap_file.h"

#include <gtest/gtest.h>

#include "picture/rv512_encoder.h"
#include "tests/support/picture_files.h"

namespace lumato::picture {
namespace {

TEST(BitmapFile, OnlyABitmapOfTheSizeAskedForIsEncoded) {
    const TemporaryFolder folder;
    const Path sound = folder / "sound", wide = folder / "wide";
    ASSERT_TRUE(SaveBmpFile(Bytes(768), 16, 16, sound));
    ASSERT_TRUE(SaveBmpFile(Bytes(196608), 65536, 1, wide));
    const struct {
        Path source;
        int width, height;
        ErrorKind kind;
    } rows[] = {
        {folder / "none", 16, 16, ErrorKind::NotFound},
        {folder.Get(), 16, 16, ErrorKind::Unreadable},
        {folder.Put("short", Bytes(53, 'B')), 16, 16, ErrorKind::Unsupported},
        {folder.Put("other", Bytes(200, 'M')), 16, 16, ErrorKind::Unsupported},
        {sound, 16, 17, ErrorKind::Refused},
        {sound, 15, 16, ErrorKind::Refused},
        {sound, 16, -16, ErrorKind::Refused},
        {wide, 65536, 1, ErrorKind::TooLarge},
    };
    const Path stream = folder.Put("stream", {1, 2, 3});
    CRv512Encoder codec;
    for (const auto& row : rows) {
        EXPECT_EQ(codec.EnCode(row.source, stream, row.width, row.height, 90, 4), 0);
        EXPECT_EQ(codec.LastError().kind, row.kind) << row.source << codec.LastError().message.English();
    }
    EXPECT_EQ(Get(stream), (Bytes{1, 2, 3}));
    EXPECT_FALSE(codec.DeCode(folder / "none", folder / "b.bmp", 0, 0));
    EXPECT_EQ(codec.LastError().kind, ErrorKind::NotFound);
    EXPECT_EQ(SaveBmpFile(Bytes(3), 1, 1, folder.Get()).error().kind, ErrorKind::Unwritable);
    EXPECT_EQ(SaveBmpFile({}, 0, 1, folder / "b.bmp").error().kind, ErrorKind::TooLarge);
}

}  // namespace
}  // namespace lumato::picture
