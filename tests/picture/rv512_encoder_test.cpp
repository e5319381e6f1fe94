#include "picture/rv512_encoder.h"

#include <algorithm>
#include <csignal>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "jpeg/encoder.h"
#include "picture/bitmap_file.h"
#include "tests/picture/test_folder.h"

namespace lumato::picture {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;

class Rv512Encoder : public FolderTest {
  protected:
    void SaveGrey(int width, int height, std::uint8_t value) {
        const Bytes pixels(static_cast<std::size_t>(width * height * 3), value);
        ASSERT_TRUE(SaveBmpFile(pixels, width, height, In("p.bmp")).has_value());
    }
    void SaveGradient(int width, int height) {
        Bytes pixels(static_cast<std::size_t>(width * height * 3));
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<std::uint8_t>(i * 7 % 251);
        ASSERT_TRUE(SaveBmpFile(pixels, width, height, In("p.bmp")).has_value());
    }
    Bytes Stream() { return *ReadFile(In("p.stream")); }

    CRv512Encoder m_codec;
};

// The whole stream file, where nothing but the coded MCU depends on the picture.
TEST_F(Rv512Encoder, GreyGoesThereAndBack) {
    SaveGrey(16, 16, 128);
    ASSERT_EQ(m_codec.EnCode(In("p.bmp"), In("p.stream"), 16, 16, 90, 4), 578);
    const Bytes stream = Stream();
    ASSERT_EQ(stream.size(), 578U);
    EXPECT_THAT(Bytes(stream.end() - 4, stream.end()), ElementsAre(0x00, 0x28, 0xA2, 0x8A));
    ASSERT_TRUE(m_codec.DeCode(In("p.stream"), In("q.bmp"), 16, 16));
    const Bytes bitmap = *ReadFile(In("q.bmp"));
    EXPECT_EQ(bitmap.size(), 54U + 16 * 48);
    EXPECT_TRUE(std::all_of(bitmap.begin() + 54, bitmap.end(), [](auto byte) { return byte == 128; }));
    EXPECT_TRUE(m_codec.DeCode(In("p.stream"), In("q.bmp"), 0, 0));
    EXPECT_FALSE(m_codec.DeCode(In("p.stream"), In("q.bmp"), 16, 17));
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::Refused);
}

TEST_F(Rv512Encoder, SamplingValueIsTheModePlusOne) {
    SaveGradient(320, 240);
    const struct {
        int yValue;
        std::uint8_t mode;
        std::size_t front;  // header, MCU table and tables
    } rows[] = {{4, 3, 16 + 2400 + 550}, {1, 0, 16 + 9600 + 550}, {8, 7, 16 + 2400},
                {12, 11, 16 + 550},      {0, 0xFF, 16},           {256, 0xFF, 16}};
    std::size_t coded = 0;
    for (const auto& row : rows) {
        const int size = m_codec.EnCode(In("p.bmp"), In("p.stream"), 320, 240, 90, row.yValue);
        ASSERT_GT(size, 0) << m_codec.LastError().message;
        const Bytes stream = Stream();
        EXPECT_EQ(stream.size(), static_cast<std::size_t>(size));
        EXPECT_THAT(Bytes(stream.begin(), stream.begin() + 5), ElementsAre(0x01, 0x40, 0x00, 0xF0, row.mode));
        if (row.yValue == 4)
            coded = stream.size() - row.front;
        if (row.yValue != 1) {
            EXPECT_EQ(stream.size(), row.front + coded) << row.yValue;
        }
        EXPECT_TRUE(m_codec.DeCode(In("p.stream"), In("q.bmp"), 320, 240)) << row.yValue;
    }
}

// The codec must hand the encoder the pixels as the bitmap has them, padding and all.
TEST_F(Rv512Encoder, RowsWithPaddingEncodeWithoutShear) {
    SaveGradient(130, 9);
    const int size = m_codec.EnCode(In("p.bmp"), In("p.stream"), 130, 9, 90, 1);
    const Bytes bitmap = *ReadFile(In("p.bmp"));
    Bytes expected(jpeg::MaximumStreamSize(130, 9, 0));
    int expectedSize = 0;
    ASSERT_TRUE(jpeg::CVaskJpegEncoder(90).CompressImage(bitmap.data() + 54, expected.data(), 130, 9,
                                                         expectedSize, 0));
    ASSERT_EQ(size, expectedSize);
    expected.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(Stream(), expected);
}

TEST_F(Rv512Encoder, ExtremeSizesWork) {
    for (const auto& [width, height] : {std::pair{1, 1}, {65535, 1}, {1, 65535}, {65535, 8}}) {
        SaveGradient(width, height);
        ASSERT_GT(m_codec.EnCode(In("p.bmp"), In("p.stream"), width, height, 100, 4), 0) << width;
        ASSERT_TRUE(m_codec.DeCode(In("p.stream"), In("q.bmp"), width, height)) << width;
        EXPECT_EQ(std::filesystem::file_size(In("q.bmp")), std::filesystem::file_size(In("p.bmp")));
    }
}

TEST_F(Rv512Encoder, FailuresWriteNothing) {
    const Bytes before{1, 2, 3};
    ASSERT_TRUE(WriteFile(In("p.stream"), before).has_value());
    SaveGrey(16, 16, 7);
    const auto encode = [&](const Path& source, int width, int height) {
        return m_codec.EnCode(source, In("p.stream"), width, height, 90, 4);
    };
    EXPECT_EQ(encode(In("none.bmp"), 16, 16), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::NotFound);
    EXPECT_NE(m_codec.LastError().message.find("none.bmp"), std::string::npos);
    EXPECT_EQ(encode(In("p.bmp"), 16, 17), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::Refused);
    EXPECT_EQ(encode(In("p.bmp"), 0, 16), 0);
    EXPECT_EQ(encode(In("p.bmp"), 16, -1), 0);
    EXPECT_EQ(encode(In("p.stream"), 16, 16), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::Unsupported);
    EXPECT_EQ(Stream(), before);
    EXPECT_EQ(Entries(), 2);

    EXPECT_EQ(m_codec.EnCode(In("p.bmp"), In("no") / "p.stream", 16, 16, 90, 4), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::NotFound);
    EXPECT_FALSE(m_codec.DeCode(In("none"), In("q.bmp"), 0, 0));
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::NotFound);
    EXPECT_EQ(Entries(), 2);
}

TEST_F(Rv512Encoder, APictureLargerThanTheHeaderCanSayIsRefused) {
    SaveGrey(65536, 1, 7);
    EXPECT_EQ(m_codec.EnCode(In("p.bmp"), In("p.stream"), 65536, 1, 90, 4), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::TooLarge);
    EXPECT_EQ(Entries(), 1);
}

TEST_F(Rv512Encoder, AnUnwritableFolderIsReported) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "nothing is unwritable to root";
    SaveGrey(16, 16, 7);
    ASSERT_GT(m_codec.EnCode(In("p.bmp"), In("p.stream"), 16, 16, 90, 4), 0);
    const Bytes before = Stream();
    std::filesystem::permissions(m_folder,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_EQ(m_codec.EnCode(In("p.bmp"), In("p.stream"), 16, 16, 10, 4), 0);
    EXPECT_EQ(m_codec.LastError().kind, ErrorKind::Unwritable);
    std::filesystem::permissions(m_folder, std::filesystem::perms::owner_all);
    EXPECT_EQ(Stream(), before);
}

// A limit on file sizes stands in for a full disk: both fail in the middle of writing.
TEST_F(Rv512Encoder, AFullDiskLeavesWhatWasThere) {
    SaveGradient(64, 64);
    ASSERT_GT(m_codec.EnCode(In("p.bmp"), In("p.stream"), 64, 64, 90, 4), 1000);
    ASSERT_TRUE(m_codec.DeCode(In("p.stream"), In("q.bmp"), 0, 0));
    const Bytes stream = Stream();
    const Bytes bitmap = *ReadFile(In("q.bmp"));

    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    const rlimit small{1000, old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const int size = m_codec.EnCode(In("p.bmp"), In("p.stream"), 64, 64, 10, 4);
    const Error encodeError = m_codec.LastError();
    const bool isDecoded = m_codec.DeCode(In("p.stream"), In("q.bmp"), 0, 0);
    const bool isSaved = SaveBmpFile(Bytes(64 * 64 * 3), 64, 64, In("q.bmp")).has_value();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_EQ(size, 0);
    EXPECT_FALSE(encodeError.message.empty());
    EXPECT_FALSE(isDecoded);
    EXPECT_FALSE(isSaved);
    EXPECT_EQ(Stream(), stream);
    EXPECT_EQ(*ReadFile(In("q.bmp")), bitmap);
    EXPECT_EQ(Entries(), 3);
}

// A device must fail or take the bytes; it must never be replaced by a file.
TEST_F(Rv512Encoder, DevicesAndPipesAreWrittenDirectly) {
    SaveGrey(16, 16, 128);
    CRv512Encoder codec(Links::Follow);
    ASSERT_EQ(::mkfifo(In("pipe").c_str(), 0600), 0);
    const int reader = ::open(In("pipe").c_str(), O_RDWR | O_NONBLOCK);
    EXPECT_EQ(codec.EnCode(In("p.bmp"), In("pipe"), 16, 16, 90, 4), 578);
    Bytes piped(1000);
    EXPECT_EQ(::read(reader, piped.data(), piped.size()), 578);
    ::close(reader);
    EXPECT_TRUE(std::filesystem::is_fifo(In("pipe")));

    ASSERT_TRUE(std::filesystem::is_character_file("/dev/full"));
    EXPECT_EQ(codec.EnCode(In("p.bmp"), "/dev/full", 16, 16, 90, 4), 0);
    EXPECT_EQ(codec.LastError().kind, ErrorKind::Unwritable);

    EXPECT_EQ(m_codec.EnCode(In("p.bmp"), In("pipe"), 16, 16, 90, 4), 0);
    EXPECT_TRUE(std::filesystem::is_fifo(In("pipe")));
}

}  // namespace
}  // namespace lumato::picture
