// Bitmap and stream files at their limits. What is in them is compared byte by byte with a second reading of
// the formats: tests/independent/.
#include <gtest/gtest.h>

#include "picture/bitmap_file.h"
#include "picture/rv512_encoder.h"
#include "tests/support/temporary_folder.h"

namespace lumato::picture {
namespace {

using Bytes = std::vector<std::uint8_t>;

class CodecFiles : public testing::Test {
  protected:
    void Save(int width, int height) {
        Bytes pixels(static_cast<std::size_t>(width * height * 3));
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<std::uint8_t>(i * 7 % 251);
        ASSERT_TRUE(SaveBmpFile(pixels, width, height, m_bitmap));
    }
    int Encode(const Path& source, int width, int height, int quality = 90) {
        return m_codec.EnCode(source, m_stream, width, height, quality, 4);
    }

    const test::TemporaryFolder m_folder;
    const Path m_bitmap = m_folder / "p.bmp", m_stream = m_folder / "p.stream";
    CRv512Encoder m_codec;
};

TEST_F(CodecFiles, ExtremeSizesWorkAndLargerOnesAreRefused) {
    for (const auto& [width, height] : {std::pair{1, 1}, {65535, 1}, {1, 65535}, {65535, 8}}) {
        Save(width, height);
        ASSERT_GT(Encode(m_bitmap, width, height, 100), 0) << width;
        ASSERT_TRUE(m_codec.DeCode(m_stream, m_folder / "q.bmp", width, height)) << width;
        EXPECT_EQ(std::filesystem::file_size(m_folder / "q.bmp"), std::filesystem::file_size(m_bitmap));
    }
    Save(65536, 1);
    EXPECT_EQ(Encode(m_bitmap, 65536, 1), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::TooLarge);
}

TEST_F(CodecFiles, FailuresSayWhyAndWriteNothing) {
    const Bytes before{1, 2, 3};
    test::PutBytes(m_stream, before);
    Save(16, 16);
    const Path shortened = m_folder.Put("short.bmp", Bytes(53, 'B'));
    const Path other = m_folder.Put("other.bmp", Bytes(200, 'M'));
    const struct {
        Path source;
        int width, height;
        ErrorKind kind;
    } rows[] = {
        {m_folder / "none.bmp", 16, 16, ErrorKind::NotFound},
        {m_folder.Get(), 16, 16, ErrorKind::Unreadable},
        {shortened, 16, 16, ErrorKind::Unsupported},
        {other, 16, 16, ErrorKind::Unsupported},
        {m_bitmap, 16, 17, ErrorKind::Refused},
        {m_bitmap, 15, 16, ErrorKind::Refused},
        {m_bitmap, 0, 16, ErrorKind::Refused},
        {m_bitmap, 16, -16, ErrorKind::Refused},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Encode(row.source, row.width, row.height), 0);
        EXPECT_EQ(m_codec.LastError().kind, row.kind) << row.source << " " << m_codec.LastError().message;
        EXPECT_NE(m_codec.LastError().message, "");
    }
    EXPECT_EQ(m_codec.EnCode(m_bitmap, m_folder / "no" / "p.stream", 16, 16, 90, 4), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::NotFound);
    EXPECT_FALSE(m_codec.DeCode(m_folder / "none", m_folder / "q.bmp", 0, 0));
    EXPECT_EQ(SaveBmpFile(Bytes(3), 1, 1, m_folder.Get()).error().kind, ErrorKind::Unwritable);
    EXPECT_EQ(SaveBmpFile({}, 0, 1, m_folder / "b.bmp").error().kind, ErrorKind::TooLarge);
    EXPECT_EQ(test::TakeBytes(m_stream), before);
    EXPECT_EQ(m_folder.CountEntries(), 4U);
}

}  // namespace
}  // namespace lumato::picture
