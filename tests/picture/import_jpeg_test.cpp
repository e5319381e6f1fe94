#include "picture/import_jpeg.h"

#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "picture/held_size.h"
#include "picture/jpeg_decoder.h"
#include "tests/picture/import_support.h"

namespace lumato::picture {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

using JpegImport = ImportTest;

TEST_F(JpegImport, EveryCodingGivesTheSamePicture) {
    const JpegOptions codings[] = {{},
                                   {.progressive = true},
                                   {.separateScans = true},
                                   {.restartRows = 1},
                                   {.comment = Bytes(60000, 'x')},
                                   {.profile = SrgbProfile()}};
    for (const JpegOptions& coding : codings) {
        ASSERT_EQ(Outcome(Read(MakeJpeg(Quarters(97, 63), coding))), "fine");
        EXPECT_EQ(m_info.width, 97U);
        EXPECT_EQ(m_info.height, 63);
        EXPECT_EQ(m_info.bytesPerRow, 97U * 4);
        EXPECT_EQ(m_info.dataSize, m_info.pixels.size());
        ExpectQuarters(m_info, OrientedQuarters(1));
    }
}

TEST_F(JpegImport, BrokenExifIsIgnored) {
    const Bytes sound = MakeJpeg(Quarters(32, 32), {.orientation = 6});
    for (std::size_t at = 24; at < 56; ++at) {
        Bytes jpeg = sound;
        jpeg[at] ^= 0xFF;
        EXPECT_EQ(Outcome(Read(jpeg)), "fine") << at;
    }
}

TEST_F(JpegImport, ProfilesAreAppliedAndUnusableOnesIgnored) {
    Bytes cut = SwappedProfile();
    cut.resize(cut.size() / 2);
    const std::pair<Bytes, Colour> rows[] = {{SwappedProfile(), kBlue},
                                             {SwappedProfile(150'000), kBlue},  // segments
                                             {Bytes(300, 0x55), kRed},
                                             {cut, kRed},
                                             {CmykProfile(), kRed}};
    for (const auto& [profile, shown] : rows) {
        ASSERT_EQ(Outcome(Read(MakeJpeg(Plain(16, 16, {255, 0, 0}), {.profile = profile}))), "fine");
        EXPECT_TRUE(Near(At(m_info, 8, 8), shown, 12)) << profile.size();
    }
}

TEST_F(JpegImport, Grey) {
    ASSERT_EQ(Outcome(Read(MakeJpeg(Plain(16, 16, {77})))), "fine");
    EXPECT_TRUE(Near(At(m_info, 8, 8), {77, 77, 77}, 2));
    EXPECT_EQ(At(m_info, 8, 8)[0], At(m_info, 8, 8)[2]);
}

TEST_F(JpegImport, InksInBothDirections) {
    // Half cyan, a fifth of black: what an ideal ink of each lets through.
    const Colour expected{128 * 204 / 255, 204, 204};
    ASSERT_EQ(Outcome(Read(MakeJpeg(Plain(16, 16, {127, 0, 0, 51})))), "fine");
    EXPECT_TRUE(Near(At(m_info, 8, 8), expected, 6)) << testing::PrintToString(At(m_info, 8, 8));
    ASSERT_EQ(Outcome(Read(MakeJpeg(Plain(16, 16, {128, 255, 255, 204}), {.adobe = true}))), "fine");
    EXPECT_TRUE(Near(At(m_info, 8, 8), expected, 6)) << testing::PrintToString(At(m_info, 8, 8));
}

TEST_F(JpegImport, InksByTheirProfile) {
    const Bytes profile = CmykProfile();
    ASSERT_FALSE(profile.empty());
    ASSERT_EQ(Outcome(Read(MakeJpeg(Plain(16, 16, {255, 0, 0, 0}), {.profile = profile}))), "fine");
    const Colour bare = At(m_info, 8, 8);
    ASSERT_EQ(Outcome(Read(MakeJpeg(Plain(16, 16, {0, 255, 255, 255}), {.adobe = true, .profile = profile}))),
              "fine");
    EXPECT_TRUE(Near(At(m_info, 8, 8), bare, 8));
    // Printed cyan is far from the ideal one, (0, 255, 255).
    EXPECT_LT(bare[1], 200);
    EXPECT_GT(bare[2], bare[1]);
}

TEST_F(JpegImport, DecodesAtTheSmallestScaleThatServes) {
    const Bytes jpeg = MakeJpeg(Quarters(800, 400));
    const struct {
        double scale;
        int width, height;
    } rows[] = {{1.0, 800, 400},  {0.5, 800, 400}, {0.45, 800, 400}, {0.4, 700, 350},
                {0.25, 400, 200}, {0.2, 400, 200}, {0.1, 200, 100},  {0.01, 100 / 6 + 1, 50 / 6 + 1}};
    for (const auto& row : rows) {
        ASSERT_EQ(Outcome(Read(jpeg, row.scale)), "fine");
        EXPECT_EQ(m_info.width, 800U);
        EXPECT_EQ(m_info.heldWidth, row.width) << row.scale;
        EXPECT_EQ(m_info.heldHeight, row.height) << row.scale;
        ExpectQuarters(m_info, OrientedQuarters(1));
    }
}

// The picture up to a cut may be complete only when nothing but the end marker is missing.
TEST_F(JpegImport, TruncationIsNeverSilent) {
    for (const JpegOptions& coding :
         {JpegOptions{}, {.progressive = true}, {.separateScans = true}, {.restartRows = 1}}) {
        const Bytes jpeg = MakeJpeg(Noise(61, 47, 5), coding);
        ASSERT_EQ(Outcome(Read(jpeg)), "fine");
        const Bytes whole = m_info.pixels;
        for (std::size_t size = 3; size < jpeg.size(); size += size + 40 < jpeg.size() ? 23U : 1U) {
            const auto result = Read(Bytes(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(size)));
            if (result) {
                EXPECT_GE(size + 3, jpeg.size());
                EXPECT_EQ(m_info.pixels, whole) << size;
                continue;
            }
            EXPECT_EQ(Outcome(result), "Damaged: cut off: the file ends early") << size;
            EXPECT_TRUE(m_info.pixels.empty());
            EXPECT_EQ(m_info.width, 0U);
        }
    }
}

TEST_F(JpegImport, ATailOfZerosIsNoPicture) {
    for (const bool progressive : {false, true}) {
        Bytes jpeg = MakeJpeg(Noise(160, 120, 5), {.progressive = progressive});
        std::fill(jpeg.begin() + static_cast<std::ptrdiff_t>(jpeg.size() / 3), jpeg.end(), 0);
        EXPECT_THAT(Outcome(Read(jpeg)), StartsWith("Damaged: "));
    }
}

TEST_F(JpegImport, GarbageBetweenMarkersIsTolerated) {
    Bytes jpeg = MakeJpeg(Quarters(32, 32));
    jpeg.insert(jpeg.begin() + 20, {1, 2, 3});
    EXPECT_EQ(Outcome(Read(jpeg)), "fine");
    jpeg.insert(jpeg.end(), 5000, 0xAB);
    EXPECT_EQ(Outcome(Read(jpeg)), "fine");
}

// The header's sides lie behind the marker of the frame.
Bytes WithSides(Bytes jpeg, std::uint8_t marker, std::uint32_t width, std::uint32_t height) {
    for (std::size_t at = 0; at + 9 < jpeg.size(); ++at)
        if (jpeg[at] == 0xFF && jpeg[at + 1] == marker) {
            PutBe16(MutableByteSpan(jpeg).subspan(at + 5), height);
            PutBe16(MutableByteSpan(jpeg).subspan(at + 7), width);
            return jpeg;
        }
    ADD_FAILURE() << "no such frame";
    return jpeg;
}

TEST_F(JpegImport, HostileSizesAreRefused) {
    const Bytes baseline = MakeJpeg(Quarters(32, 32));
    const Bytes progressive = MakeJpeg(Quarters(32, 32), {.progressive = true});
    EXPECT_THAT(Outcome(Read(WithSides(baseline, 0xC0, 65500, 65500))), StartsWith("TooLarge: "));
    EXPECT_THAT(Outcome(Read(WithSides(baseline, 0xC0, 30000, 30000))), StartsWith("Damaged: cut off"));
    EXPECT_THAT(Outcome(Read(WithSides(progressive, 0xC2, 30000, 30000))), StartsWith("TooLarge: "));
    EXPECT_THAT(Outcome(Read(WithSides(progressive, 0xC2, 1000, 1000))), StartsWith("Damaged: "));
    EXPECT_THAT(Outcome(Read(WithSides(baseline, 0xC0, 0, 32))), StartsWith("Damaged: "));
}

TEST_F(JpegImport, UnknownCodingsSaySo) {
    Bytes jpeg = MakeJpeg(Quarters(32, 32));
    for (std::size_t at = 0; at + 1 < jpeg.size(); ++at)
        if (jpeg[at] == 0xFF && jpeg[at + 1] == 0xC0) {
            jpeg[at + 1] = 0xC3;  // lossless
            break;
        }
    EXPECT_THAT(Outcome(Read(jpeg)), StartsWith("Unsupported: "));
}

// More coefficients than may lie in memory: the same pixels through the temporary file.
TEST_F(JpegImport, LargeProgressivePicturesMatchSequentialOnes) {
    const Raw raw = Quarters(6400, 4600);
    ASSERT_EQ(Outcome(Read(MakeJpeg(raw, {.quality = 85}), 0.05)), "fine");
    const Bytes sequential = m_info.pixels;
    for (const JpegOptions& coding : {JpegOptions{.progressive = true, .quality = 85},
                                      JpegOptions{.separateScans = true, .quality = 85}}) {
        ASSERT_EQ(Outcome(Read(MakeJpeg(raw, coding), 0.05)), "fine");
        EXPECT_EQ(m_info.pixels, sequential);
    }
}

// What libjpeg alone makes of a file: pixels, or the reason why not.
Bytes PixelsByLibjpeg(const Path& path, double scale, std::string& outcome) {
    const auto file = PictureFile::Open(path);
    BitmapInfo info;
    const ScaleNeeded needed = [scale](int, int) { return scale; };
    PictureBuilder builder(info, false, needed);
    const auto imported = ImportJpegByLibjpeg(*file, builder);
    outcome = Outcome(imported);
    return imported ? info.pixels : Bytes();
}

TEST_F(JpegImport, OrdinaryPhotographsAreReadHereAndGiveTheSamePixels) {
    const JpegOptions codings[] = {
        {}, {.quality = 100}, {.quality = 20}, {.restartRows = 1}, {.optimized = true}};
    for (const JpegOptions& coding : codings)
        for (const int bands : {1, 3, 4})
            for (const Raw& raw : {Noise(83, 61, 3, bands),
                                   Plain(400, 300, std::vector<int>(static_cast<std::size_t>(bands), 90))}) {
                SCOPED_TRACE(testing::Message() << "bands " << bands << " quality " << coding.quality);
                ASSERT_EQ(Outcome(Read(MakeJpeg(raw, coding), 0.3)), "fine");
                std::string outcome;
                EXPECT_EQ(m_info.pixels, PixelsByLibjpeg(m_file, 0.3, outcome));

                const auto file = PictureFile::Open(m_file);
                JpegDecoder decoder(*file, JpegDecoder::Reading::Usual);
                ASSERT_TRUE(decoder.ReadHeader());
                const auto size = decoder.Scale(8);
                ASSERT_TRUE(size && decoder.Start() && decoder.HasScanReader());
                Bytes row(static_cast<std::size_t>(size->width) * 4);
                for (int y = 0; y < size->height; ++y)
                    ASSERT_TRUE(decoder.ReadRow(row.data()));
                EXPECT_TRUE(decoder.Finish());
            }
}

// Large enough to be read on two threads.
TEST_F(JpegImport, APictureReadAheadIsTheSameAndBreaksTheSame) {
    const Bytes sound = MakeJpeg(Noise(1001, 703, 4), {.quality = 60});
    for (const double at : {0.0, 0.1, 0.5, 0.99}) {
        Bytes jpeg = sound;
        if (at > 0)
            std::fill_n(jpeg.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(jpeg.size()) * at), 3,
                        0xFF);
        const auto result = Read(jpeg, 0.2);
        std::string outcome;
        EXPECT_EQ(m_info.pixels, PixelsByLibjpeg(m_file, 0.2, outcome)) << at;
        EXPECT_EQ(Outcome(result), outcome) << at;
        EXPECT_EQ(result.has_value(), at == 0) << at;
    }
}

TEST_F(JpegImport, MutationsAreTakenAsLibjpegTakesThem) {
    std::mt19937 random(20261);
    int taken = 0;
    for (const JpegOptions& coding :
         {JpegOptions{.orientation = 6, .profile = SwappedProfile()}, JpegOptions{.restartRows = 1},
          JpegOptions{.optimized = true, .quality = 40},
          JpegOptions{.orientation = 3, .progressive = true}}) {
        const Bytes sound = MakeJpeg(Noise(40, 30, 9), coding);
        for (int round = 0; round < 200; ++round) {
            Bytes jpeg = sound;
            // Mostly in the headers, where every byte means something.
            for (unsigned count = 1 + random() % 4; count > 0; --count)
                jpeg[3 + random() % (round % 2 ? jpeg.size() - 3 : 600)] =
                    static_cast<std::uint8_t>(random());
            const auto result = Read(jpeg, 0.3);
            std::string outcome;
            EXPECT_EQ(m_info.pixels, PixelsByLibjpeg(m_file, 0.3, outcome)) << round;
            EXPECT_EQ(Outcome(result), outcome) << round;
            EXPECT_EQ(result.has_value(), !m_info.pixels.empty());
            taken += result.has_value();
        }
    }
    EXPECT_GT(taken, 50);
}

}  // namespace
}  // namespace lumato::picture
